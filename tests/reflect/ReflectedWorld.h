#pragma once

#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/generic/ValueIf.h"
#include "sm/Root.h"

#include <string>

namespace Tests {

namespace Ufd = UplinkFailureDetection;

// One group that is up, with every kind of object in being, reached by its generic interface.
class ReflectedWorld {
 public:
   ReflectedWorld();

   // The interface of "config", "group", "status", "groupStatus", "root", "sm", "groupSm",
   // "intfSm", "dir", "cause", "e1" or "e2" (interface statuses).
   Zet::Ptr< Zet::GenericIf > of( std::string const& object, bool isConst = false ) const;

   Zet::Ptr< Ufd::Root > root = Ufd::rootFactory( "root" );
   Zet::Ptr< Ufd::Config > config = Ufd::configFactory( "config" );
   Zet::Ptr< Ufd::Status > status = Ufd::statusFactory( "status" );
   Zet::Ptr< Errdisable::CauseStatus > cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Zet::Ptr< Interface::EthIntfStatusDir > dir =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< Ufd::GroupConfig > group;
   Zet::Ptr< Ufd::UplinkFailureDetectionSm > sm;

 private:
   Zet::Ptr< Zet::PtrInterface > object( std::string const& name ) const;
};

// Does the operation, the attribute by name. Gives the text of the result, "null", or what was
// thrown: "KIND: TEXT".
std::string done( Zet::GenericIf& on, std::string const& attribute, unsigned int operation,
                  Zet::Ptr< Zet::GenericIf > const& key = nullptr,
                  Zet::Ptr< Zet::GenericIf > const& value = nullptr );

inline Zet::Ptr< Zet::GenericIf >
listOf( std::initializer_list< std::pair< char const*, Zet::Ptr< Zet::GenericIf > > > elements ) {
   auto const list = Zet::make< Zet::GenericIf::List_ >();
   for ( auto const& [ name, value ] : elements )
      list->elementIs( name, value );
   return list;
}

} // namespace Tests
