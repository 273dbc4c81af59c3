#include "tests/support/Scenario.h"

#include "platform/zet/Clock.h"
#include "platform/zet/Trace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Scenario {

using namespace UplinkFailureDetection;

namespace {

struct VerbText {
   std::string_view word;
   bool group;
   bool intf;
   bool number;
};

// In the order of the verbs.
constexpr std::array< VerbText, 17 > verbs{ {
    { "group", true, false, false },
    { "ungroup", true, false, false },
    { "monitor", true, true, false },
    { "count", true, true, false },
    { "unmonitor", true, true, false },
    { "disable", true, true, false },
    { "release", true, true, false },
    { "min", true, false, true },
    { "appear", false, true, false },
    { "vanish", false, true, false },
    { "replace", false, true, false },
    { "up", false, true, false },
    { "down", false, true, false },
    { "wait", false, false, true },
    { "start", false, false, false },
    { "stop", false, false, false },
    { "swap", false, false, false },
} };

std::string
text( double number ) {
   char digits[ 32 ];
   return { digits, std::to_chars( digits, digits + sizeof digits, number ).ptr };
}

std::string
text( char group, GroupStatus const& record ) {
   return recordText( group, stringValue( record.groupLinkStatus() ).view(),
                      record.numTimesDisabled(), record.prevDisabledTime() );
}

double clockTime = 0;

} // namespace

std::vector< Event >
events( std::string_view text ) {
   std::vector< Event > result;
   std::istringstream stream{ std::string( text ) };
   for ( std::string part; std::getline( stream, part, ';' ); ) {
      std::istringstream words( part );
      std::string word;
      if ( !( words >> word ) )
         continue;
      auto const found = std::find_if(
          verbs.begin(), verbs.end(), [ & ]( VerbText const& verb ) { return verb.word == word; } );
      if ( found == verbs.end() )
         throw std::invalid_argument( "no such event: " + part );
      Event event{ static_cast< Verb >( found - verbs.begin() ) };
      if ( found->group )
         words >> event.group;
      if ( found->intf )
         words >> event.intf;
      if ( found->number )
         words >> event.number;
      if ( !words || !( words >> std::ws ).eof() )
         throw std::invalid_argument( "not the right words: " + part );
      result.push_back( event );
   }
   return result;
}

std::string
text( std::vector< Event > const& events ) {
   std::string result;
   for ( Event const& event : events ) {
      VerbText const& verb = verbs[ static_cast< std::size_t >( event.verb ) ];
      result += result.empty() ? "" : "; ";
      result += verb.word;
      if ( verb.group )
         result += std::string( " " ) + event.group;
      if ( verb.intf )
         result += std::string( " " ) + event.intf;
      if ( verb.number )
         result += " " + std::to_string( event.number );
   }
   return result;
}

std::string
entryText( char intf, double const* time ) {
   return std::string( 1, intf ) + ( time ? "@" + text( *time ) : "-" );
}

std::string
recordText( char group, std::string_view link, unsigned int times, double time ) {
   return std::string( 1, group ) + ":" + std::string( link ) + "#" + std::to_string( times ) +
          "@" + text( time );
}

Zet::Name
name( char letter ) {
   return std::string_view( &letter, 1 );
}

Kelnet::IntfId
intf( char letter ) {
   return Kelnet::IntfId( std::string_view( &letter, 1 ) );
}

class World::CauseObserver : public Errdisable::CauseStatus::NotifieeConst {
 public:
   explicit CauseObserver( World& world ) : world_( world ) {}
   void onIntfStatus( Kelnet::IntfId id ) override {
      auto const time = notifier()->intfStatus( id );
      world_.hear( entryText( id.name().c_str()[ 0 ], time ? &*time : nullptr ) );
   }

 private:
   World& world_;
};

class World::RecordObserver : public GroupStatus::NotifieeConst {
 public:
   explicit RecordObserver( World& world ) : world_( world ) {}
   void onGroupLinkStatus() override {
      tell( ":" + std::string( stringValue( notifier()->groupLinkStatus() ).view() ) );
   }
   void onNumTimesDisabled() override {
      tell( "#" + std::to_string( notifier()->numTimesDisabled() ) );
   }
   void onPrevDisabledTime() override { tell( "@" + text( notifier()->prevDisabledTime() ) ); }

 private:
   void tell( std::string const& what ) {
      world_.hear( std::string( notifier()->zetName().view() ) + what );
   }

   World& world_;
};

class World::StatusObserver : public Status::NotifieeConst {
 public:
   explicit StatusObserver( World& world ) : world_( world ) {}
   void onGroup( Zet::Name group ) override {
      Zet::Ptr< GroupStatus const > const record = notifier()->group( group );
      if ( record ) {
         auto const observer = Zet::make< RecordObserver >( world_ );
         observer->notifierIs( record );
         observer->isRegisteredNotifieeIs( true );
         records_[ group ] = observer;
      } else
         records_.erase( group );
      world_.hear( std::string( group.view() ) + ( record ? "+" : "-" ) );
   }

 private:
   World& world_;
   std::map< Zet::Name, Zet::Ptr< RecordObserver > > records_;
};

World::World() {
   clockTime = 0;
   Zet::clockIs( [] { return clockTime; } );
   auto const observe = [ this ]( auto const& entity, auto const& observer ) {
      entity->zetNotifieeAdapterIs( observer );
      observers_.push_back( observer );
   };
   observe( cause, Zet::make< CauseObserver >( *this ) );
   observe( status, Zet::make< StatusObserver >( *this ) );
   observe( otherStatus, Zet::make< StatusObserver >( *this ) );
}

World::~World() {
   Zet::clockIs( nullptr );
}

void
World::hear( std::string const& what ) {
   heard_ += heard_.empty() ? "" : " ";
   heard_ += what;
   if ( onHeard )
      onHeard( what );
}

void
World::apply( std::string_view text ) {
   for ( Event const& event : events( text ) )
      apply( event );
}

void
World::apply( Event const& event ) {
   Zet::Name const groupName = name( event.group );
   Kelnet::IntfId const id = intf( event.intf );
   Zet::Ptr< GroupConfig > const group = config->group( groupName );
   Zet::Ptr< Interface::EthIntfStatus > const port = dir->intfStatus( id );
   switch ( event.verb ) {
   case Verb::group:
      config->groupIs( groupName );
      break;
   case Verb::ungroup:
      config->groupDel( groupName );
      break;
   case Verb::monitor:
   case Verb::count:
      if ( group )
         group->intfsToMonitorIs( id, event.verb == Verb::monitor );
      break;
   case Verb::unmonitor:
      if ( group )
         group->intfsToMonitorDel( id );
      break;
   case Verb::disable:
      if ( group )
         group->intfsToDisableIs( id, true );
      break;
   case Verb::release:
      if ( group )
         group->intfsToDisableDel( id );
      break;
   case Verb::min:
      if ( group )
         group->minLinksIs( event.number );
      break;
   case Verb::appear:
      dir->intfStatusIs( id );
      break;
   case Verb::vanish:
      dir->intfStatusDel( id );
      break;
   case Verb::replace:
      dir->intfStatusIs( Interface::EthIntfStatus::EthIntfStatusIs( id ) );
      break;
   case Verb::up:
   case Verb::down:
      if ( port )
         port->operStatusIs( event.verb == Verb::up ? Interface::OperStatus::up
                                                    : Interface::OperStatus::down );
      break;
   case Verb::wait:
      clockTime += event.number;
      break;
   case Verb::swap:
      std::swap( status, otherStatus );
      if ( !sm() )
         break;
      [[fallthrough]];
   case Verb::start:
      root->uplinkFailureDetectionSmIs( config, status, cause, dir );
      break;
   case Verb::stop:
      root->uplinkFailureDetectionSmDel();
      break;
   }
}

std::string
World::state() const {
   std::map< char, std::string > records;
   for ( auto at = status->groupIteratorConst(); at; ++at ) {
      char const group = at->zetName().c_str()[ 0 ];
      records[ group ] = text( group, *at ) + " ";
   }
   std::map< char, std::string > entries;
   for ( auto at = cause->intfStatusIteratorConst(); at; ++at ) {
      char const port = at.key().name().c_str()[ 0 ];
      double const time = at->value();
      entries[ port ] = " " + entryText( port, &time );
   }
   std::string result;
   for ( auto const& [ group, record ] : records )
      result += record;
   result += "|";
   for ( auto const& [ port, entry ] : entries )
      result += entry;
   return result;
}

std::string
World::children( char group ) const {
   std::string result;
   for ( auto at = groupSm( group )->uplinkFailureDetectionIntfSmIteratorConst(); at; ++at )
      result += at.key().name().view();
   std::sort( result.begin(), result.end() );
   return result;
}

void
check( World& world, std::vector< Line > const& lines ) {
   for ( std::size_t number = 0; number < lines.size(); ++number ) {
      SCOPED_TRACE( "line " + std::to_string( number + 1 ) + ": " +
                    std::string( lines[ number ].events ) );
      world.heard();
      world.apply( lines[ number ].events );
      EXPECT_EQ( world.heard(), lines[ number ].heard );
      EXPECT_EQ( world.state(), lines[ number ].state );
   }
}

std::string
nameInUse( char const* parameter, Zet::String8 const& wanted, Zet::String8 const& current ) {
   return "Reinstantiating the pointer interface where constructor parameter attribute " +
          std::string( parameter ) + " has a different value of " + wanted.c_str() +
          " than the current value of " + current.c_str() + " not allowed";
}

Traced::Traced() {
   Zet::coverageStream_ = &stream_;
}

Traced::~Traced() {
   Zet::coverageStream_ = nullptr;
}

std::vector< std::string >
Traced::lines() {
   static constexpr std::string_view prefix =
       "UplinkFailureDetectionSm 0 UplinkFailureDetectionSm::";
   std::vector< std::string > result;
   std::istringstream text( stream_.str() );
   stream_.str( "" );
   for ( std::string line; std::getline( text, line ); ) {
      EXPECT_TRUE( line.starts_with( prefix ) ) << line;
      result.push_back( line.substr( prefix.size() ) );
   }
   return result;
}

std::size_t
Traced::recounts( char group ) {
   std::vector< std::string > const all = lines();
   return static_cast< std::size_t >( std::count(
       all.begin(), all.end(), "doCheckIntfs " + std::string( 1, group ) + "::doCheckIntfs " ) );
}

} // namespace Scenario
