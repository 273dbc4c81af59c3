#include "agent/detect/DecisionRemarks.h"

#include "agent/base/WallTime.h"

namespace Ufdd {

void
DecisionRemarks::addLeftAlone( GroupConfig const& group, GroupWait const& wait, double now ) {
   if ( wait.reason == WaitReason::startupHold )
      return add( group, "startup_hold: its ports are left as they are until it is up, for " +
                             secondsText( wait.until - now ) + " at most" );
   Remark remark{
      group.name(),
      "its ports are left as they are: since the machine booted, no interface was called",
      LogEvent::groupAlarm
   };
   for ( auto uplink = group.intfsToMonitorIteratorConst(); uplink; ++uplink )
      if ( !history_.hasExisted( uplink.key() ) ) {
         remark.text +=
             ( remark.unproven.empty() ? " " : " or " ) + std::string( uplink.key().name().view() );
         remark.unproven.push_back( uplink.key() );
      }
   remarks_.push_back( std::move( remark ) );
}

void
DecisionRemarks::addLatched( GroupConfig const& group ) {
   add( group, "auto_recover is false: its ports stay shut until an operator clears them: ufdctl "
               "clear " +
                   std::string( group.name().view() ) );
}

void
DecisionRemarks::addDelay( GroupConfig const& group, GroupDecision const& decision,
                           GroupWait const& before, double now ) {
   if ( before.toldSince == decision.since() )
      return;
   if ( before.toldSince )
      ++told_[ group.name() ].hidden;
   RecoveryDelay const& recovery = decision.recoveryDelay();
   bool const isDown = decision.sawDown();
   add( group, ( isDown ? "down_delay: its ports are shut"
                        : "recovery_delay" +
                              ( recovery.isLengthened()
                                    ? ", lengthened to " + secondsText( recovery.seconds() )
                                    : "" ) +
                              ": its ports are opened" ) +
                   " in " + secondsText( decision.due() - now ) + " unless it is " +
                   ( isDown ? "up" : "down" ) + " again before" );
}

void
DecisionRemarks::addHidden( GroupConfig const& group, GroupDecision const& decision, double told ) {
   add( group, std::string( decision.isDown() ? "was up" : "was down" ) + " for only " +
                   secondsText( decision.since() - told ) + ", hidden by " +
                   ( decision.isDown() ? "recovery_delay" : "down_delay" ) + " (" +
                   std::to_string( ++told_[ group.name() ].hidden ) + " so far)" );
}

void
DecisionRemarks::addAwaited( GroupConfig const& group, GroupDecision const& decision,
                             std::string const& missing, double end, double now ) {
   Told& told = told_[ group.name() ];
   double const since = decision.since();
   if ( now >= end && std::exchange( told.timeout, since ) != since )
      add( group, "release_timeout: its ports are opened, although there is no route that "
                  "release_when names: " +
                      missing );
   else if ( now < end && std::exchange( told.awaiting, since ) != since )
      add( group, "release_when: its ports are opened when these routes exist, or in " +
                      secondsText( end - now ) + ": " + missing );
}

void
DecisionRemarks::addDryRun( GroupConfig const& group, GroupDecision const& decision ) {
   std::string text = std::string( "dry_run, else ports would be " ) +
                      ( decision.isDown() ? "opened" : "shut" ) + " now:";
   for ( auto port = group.intfsToDisableIteratorConst(); port; ++port )
      if ( decision.covers( port.key() ) )
         text += ' ' + std::string( port.key().name().view() );
   add( group, std::move( text ) );
}

void
DecisionRemarks::addAbsentPorts( GroupConfig const& group ) {
   std::string absent;
   for ( auto port = group.intfsToDisableIteratorConst(); port; ++port )
      if ( !directory_.intfStatus( port.key() ) )
         absent.append( absent.empty() ? "" : ", " ).append( port.key().name().view() );
   if ( !absent.empty() )
      remarks_.push_back( { group.name(),
                            "can't shut ports that do not exist: " + absent +
                                "; each is shut once it exists, unless the group is up by then",
                            LogEvent::groupAlarm } );
}

} // namespace Ufdd
