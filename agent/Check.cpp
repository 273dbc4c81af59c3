#include "agent/Check.h"

#include "agent/Forecast.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Printable.h"
#include "agent/base/StateDirectory.h"
#include "agent/config/ConfigFile.h"
#include "agent/detect/BootFile.h"
#include "agent/kernel/NetlinkLinkSource.h"
#include "agent/kernel/NetlinkRouteSource.h"
#include "agent/kernel/PrivateFlags.h"
#include "agent/orders/OrderFile.h"
#include "agent/ports/OwnedLinkFile.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <sysexits.h>
#include <vector>

namespace Ufdd {

namespace {

// The records of the ufdd that runs, or of the last one.
class Record {
 public:
   // Throws: std::runtime_error when there is a record that can't be read.
   explicit Record( std::string const& path )
       : directory_( StateDirectory::toRead( path ) ), file_( directory_ ), bootFile_( directory_ ),
         orderFile_( directory_ ) {}

   OwnedLinkFile& file() { return file_; }
   BootFile& bootFile() { return bootFile_; }
   OrderFile& orderFile() { return orderFile_; }

 private:
   StateDirectory directory_;
   OwnedLinkFile file_;
   BootFile bootFile_;
   OrderFile orderFile_;
};

class Check {
 public:
   explicit Check( CheckOptions const& options ) : options_( options ) {}

   int run() {
      ConfigFile const config = readConfigOfThisMachine( options_.configFile );
      print( config.errors );
      if ( !config.errors.empty() )
         return EX_CONFIG;
      print( config.warnings );
      hasWarnings_ = config.hasWarnings;
      try {
         tell( foresee( config ) );
      } catch ( std::exception const& error ) {
         warn( std::string( "can't tell what ufdd would do now: " ) + error.what() );
      }
      bool const isRefused = options_.isStrict && hasWarnings_;
      std::cout << printable( options_.configFile )
                << ( isRefused ? ": not OK, because of the warnings, " : ": OK, " )
                << config.groups.size() << ( config.groups.size() == 1 ? " group\n" : " groups\n" );
      return isRefused ? EX_CONFIG : EXIT_SUCCESS;
   }

 private:
   static void print( std::vector< std::string > const& findings ) {
      for ( std::string const& finding : findings )
         std::cerr << printable( finding ) << '\n';
   }

   void note( std::string const& text ) { print( { options_.configFile + ": note: " + text } ); }
   void warn( std::string const& text ) {
      print( { options_.configFile + ": warning: " + text } );
      hasWarnings_ = true;
   }

   Forecast foresee( ConfigFile const& config ) {
      EventLoop loop;
      NetlinkLinkSource source( loop );
      NetlinkRouteSource routes( loop );
      std::optional< Record > record;
      try {
         record.emplace( options_.stateDirectory );
      } catch ( std::runtime_error const& error ) {
         note( std::string( error.what() ) +
               "; ports that a running ufdd holds shut are not told from others" );
      }
      return forecast( config, source, routes, record ? &record->file() : nullptr,
                       record ? &record->bootFile() : nullptr,
                       record ? &record->orderFile() : nullptr );
   }

   void tell( Forecast const& forecast ) {
      for ( std::string const& alarm : forecast.alarms )
         warn( alarm );
      for ( InterfaceName const& link : forecast.links )
         if ( staysLit( readPrivateFlags( link ) ) )
            warn( "the neighbour of " + std::string( link.view() ) +
                  " keeps its link while the port is administratively down; turn that off with: "
                  "ethtool --set-priv-flags " +
                  std::string( link.view() ) + ' ' + std::string( darkeningFlag ) + " on" );
      for ( std::string const& port : forecast.ports )
         std::cout << printable( port ) << '\n';
   }

   CheckOptions const& options_;
   bool hasWarnings_ = false;
};

} // namespace

int
check( CheckOptions const& options ) {
   return Check( options ).run();
}

} // namespace Ufdd
