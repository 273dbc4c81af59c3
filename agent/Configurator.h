#pragma once

#include "agent/Agent.h"
#include "agent/base/Log.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/FormerConfigFile.h"
#include "agent/control/ControlRequest.h"
#include "agent/ports/PortClaims.h"

#include <optional>
#include <string>

namespace Ufdd {

// The configuration to start with.
struct FirstConfig {
   ConfigFile config;
   // It is the former one: nobody confirmed in time that of the file.
   bool isFormer = false;
   // It is what the file says, and nobody has confirmed that yet: the former one may come back.
   bool isPending = false;
   std::vector< std::string > fileErrors = {}; // Of the file, if `isFormer`.
};
// Reads the file; or, if nobody has confirmed it in time, the record of the former configuration,
// which a former ufdd has left in the state directory. Changes nothing.
FirstConfig firstConfig( std::string const& file, std::string const& stateDirectory );

// Returns the ports that ufdd may shut.
std::vector< Kelnet::IntfId > portsOf( ConfigFile const& config );

// Reads the configuration file again and puts it in force. If it has to be confirmed and is not,
// brings back the former configuration, also after a restart. Never writes the file.
//
// A reload that needs no confirmation confirms nothing: the new configuration replaces the
// unconfirmed configuration, and both the deadline and what comes back then stay. Once the former
// configuration is back, it stays in force until the file is read again or the machine boots.
class Configurator {
 public:
   // Borrows: the agent, the claims, the log and the directory. `file` is the path of the
   // configuration file.
   Configurator( std::string file, Agent& agent, PortClaims& claims, StateDirectory& directory,
                 Log& log );

   // Call once the agent has started with that configuration.
   void start( FirstConfig const& first );
   // Reads the file and puts it in force. If it has errors, logs them and changes nothing.
   void reload();
   // Carries out `reload` or `confirm`.
   ControlReply handle( ControlRequest const& request );
   // Call at the end of each turn: brings the former configuration back if it is time. Returns true
   // if it was.
   bool endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now().
   double nextTime() const;
   // Call every few seconds: writes the record again if it was removed.
   void checkRecord();

 private:
   ConfigFile read();
   bool load( ConfigFile config );
   ControlReply handleReload( ControlRequest const& request );
   ControlReply handleConfirm( ControlRequest const& request );
   int keepFormer( double confirmWithin );
   void reviewFormer();
   bool forgetFormer();
   bool isPending() const { return former_ && !isFormerInForce_; }
   std::string pendingText() const;
   void tellPending();
   void bringBack();
   void tellFormerInForce();
   void line( std::string const& text ) { log_.event( { .id = LogEvent::configuration }, text ); }

   std::string const file_;
   Agent& agent_;
   PortClaims& claims_;
   FormerConfigFile store_;
   Log& log_;
   std::string text_; // Of the configuration in force.
   // The configuration that comes back, or has come back, as it is recorded.
   std::optional< FormerConfig > former_;
   bool isFormerInForce_ = false;
};

} // namespace Ufdd
