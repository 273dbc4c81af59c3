#pragma once

#include "tests/support/Observer.h"

#include <sstream>

namespace Tests {

inline Kelnet::IntfId
intf( char const* name ) {
   return Kelnet::IntfId( name );
}

// The texts of a map's members' keys, in order.
template < class Members >
Log
keysOf( Members const& members ) {
   Log keys;
   members.forEach( [ & ]( auto const& member ) {
      std::ostringstream text;
      text << member.zetKey();
      keys.push_back( text.str() );
   } );
   return keys;
}

// An entity of each kind, a change of one of its attributes, and what observers hear of it.
template < class E > struct Sample {
   static constexpr char const* id = "258";
   static constexpr char const* heard = "258 g";
   Zet::Ptr< E > entity = Zet::make< E >( "e" );
   void change() const {
      if ( !entity->groupDel( "g" ) )
         entity->groupIs( "g" );
   }
};

template <> struct Sample< Ufd::GroupConfig > {
   static constexpr char const* id = "260";
   static constexpr char const* heard = "260";
   Zet::Ptr< Ufd::GroupConfig > entity = Ufd::GroupConfig::GroupConfigIs( "e" );
   void change() const { entity->minLinksIs( entity->minLinks() + 1 ); }
};

template <> struct Sample< Ufd::GroupStatus > {
   static constexpr char const* id = "259";
   static constexpr char const* heard = "259";
   Zet::Ptr< Ufd::GroupStatus > entity = Ufd::GroupStatus::GroupStatusIs( "e" );
   void change() const { entity->numTimesDisabledInc( 1 ); }
};

template <> struct Sample< Ufd::Root > {
   static constexpr char const* id = "258";
   static constexpr char const* heard = "258";
   Zet::Ptr< Ufd::Root > entity = Ufd::rootFactory( "e" );
   void change() const {
      entity->uplinkFailureDetectionSmIs(
          Ufd::configFactory( "c" ), Ufd::statusFactory( "s" ),
          Errdisable::CauseStatus::CauseStatusIs( "cause" ),
          Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" ) );
   }
};

} // namespace Tests
