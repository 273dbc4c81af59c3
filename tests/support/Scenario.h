#pragma once

#include "sm/Root.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Scenario {

// What can happen to a detector from outside. Names are letters: groups small, interfaces capital.
enum class Verb {
   group,     // "group g"        the group is configured
   ungroup,   // "ungroup g"
   monitor,   // "monitor g A"    A is an uplink
   count,     // "count g A"      A is an uplink whose flag is false
   unmonitor, // "unmonitor g A"
   disable,   // "disable g C"    C is a downstream interface
   release,   // "release g C"
   min,       // "min g 2"        minLinks
   appear,    // "appear A"       A comes into the directory
   vanish,    // "vanish A"
   replace,   // "replace A"      another status object for A
   up,        // "up A"
   down,      // "down A"
   wait,      // "wait 1"         the clock goes on, in seconds
   start,     // "start"          the root is given the four objects
   stop,      // "stop"           the root drops its machine
   swap,      // "swap"           the root is given another Status
};

struct Event {
   Verb verb;
   char group = 0;
   char intf = 0;
   unsigned int number = 0;
};

// "group g; min g 2; up A"
std::vector< Event > events( std::string_view text );
std::string text( std::vector< Event > const& events );

// "C@5", or "C-" for no time.
std::string entryText( char intf, double const* time );
// "g:down#1@5": link status, number of times disabled, time of the last.
std::string recordText( char group, std::string_view link, unsigned int times, double time );

Zet::Name name( char letter );
Kelnet::IntfId intf( char letter );

// A detector with everything around it, and an observer of all that it writes.
class World {
 public:
   World();
   ~World();
   World( World const& ) = delete;
   World& operator=( World const& ) = delete;

   // An event that means nothing at the moment changes nothing.
   void apply( Event const& event );
   void apply( std::string_view text );

   // "g:down#1@5 h:up#0@0 | C@5 D@5": records and cause entries, by name.
   std::string state() const;
   // What the observers have been told since the last call, in order: "C@5 g:down g#1 g@5".
   // "g+" and "g-" are records that come and go.
   std::string heard() { return std::exchange( heard_, {} ); }

   Zet::Ptr< UplinkFailureDetection::UplinkFailureDetectionSm > sm() const {
      return root->uplinkFailureDetectionSm();
   }
   Zet::Ptr< UplinkFailureDetection::UplinkFailureDetectionGroupSm > groupSm( char group ) const {
      return sm() ? sm()->uplinkFailureDetectionGroupSm( name( group ) ) : nullptr;
   }
   // The interfaces that have a child in that group, in order of their names.
   std::string children( char group ) const;

   Zet::Ptr< UplinkFailureDetection::Config > config =
       UplinkFailureDetection::configFactory( "config" );
   // The one in use, and the one to swap it for.
   Zet::Ptr< UplinkFailureDetection::Status > status =
       UplinkFailureDetection::statusFactory( "status" );
   Zet::Ptr< UplinkFailureDetection::Status > otherStatus =
       UplinkFailureDetection::statusFactory( "otherStatus" );
   Zet::Ptr< Errdisable::CauseStatus > cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Zet::Ptr< Interface::EthIntfStatusDir > dir =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< UplinkFailureDetection::Root > root = UplinkFailureDetection::rootFactory( "root" );

   // Called with what an observer has just been told, from inside of the notification.
   std::function< void( std::string const& ) > onHeard;

 private:
   class CauseObserver;
   class StatusObserver;
   class RecordObserver;

   void hear( std::string const& what );

   std::string heard_;
   std::vector< Zet::Ptr< Zet::PtrInterface::NotifieeConst > > observers_;
};

// One line of a scenario: what happens, what the observers are told of it, in order, and what
// there is afterwards.
struct Line {
   std::string_view events;
   std::string_view heard;
   std::string_view state;
};
// Plays the lines, one after the other.
void check( World& world, std::vector< Line > const& lines );

// What is said of a machine that is there already and was made from another object.
std::string nameInUse( char const* parameter, Zet::String8 const& wanted,
                       Zet::String8 const& current );

// What the state machines trace while this lives.
class Traced {
 public:
   Traced();
   ~Traced();
   // The lines since the last call, each without handle and level: "doCheckIntfs g::doCheckIntfs ".
   std::vector< std::string > lines();
   // How many of those lines were recounts of the group.
   std::size_t recounts( char group );

 private:
   std::ostringstream stream_;
};

} // namespace Scenario
