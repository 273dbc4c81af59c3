#include "agent/orders/OrderFile.h"

#include "agent/orders/OrderLine.h"

#include <cerrno>
#include <sstream>

namespace Ufdd {

OrderStore::Recollection
OrderFile::recall() {
   StateFile::Content const content = file_.read();
   Recollection recalled;
   if ( content.kind == StateFile::Content::unreadable )
      recalled.trouble = keepAside( content.problem );
   if ( content.kind != StateFile::Content::current )
      return recalled;
   unsigned int unread = 0;
   std::istringstream lines( content.lines );
   for ( std::string line; std::getline( lines, line ); )
      unread += !readOrderLine( line, recalled.book );
   if ( unread == 0 )
      return recalled;
   recalled.trouble = keepAside( "has " + std::to_string( unread ) + " lines that can't be read" );
   // Until remember() is called again, the readable orders are in no other file.
   remember( recalled.book );
   return recalled;
}

std::string
OrderFile::keepAside( std::string const& problem ) {
   std::string const aside = directory_.keepAside( fileName );
   isLeftAlone_ = aside.empty();
   return place() + ' ' + problem + "; it is kept as " +
          ( isLeftAlone_ ? place() : directory_.path() + '/' + aside );
}

int
OrderFile::remember( OrderBook const& book ) {
   isLeftAlone_ = isLeftAlone_ && directory_.has( fileName );
   return isLeftAlone_ ? EEXIST : file_.replace( orderLines( book ) );
}

} // namespace Ufdd
