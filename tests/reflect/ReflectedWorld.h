#pragma once

#include "platform/zet/generic/GenericIf.h"
#include "sm/Root.h"

#include <functional>
#include <string>

namespace Tests {

namespace Ufd = UplinkFailureDetection;

// One group that is up, with every kind of object in being, reached by its generic interface.
class ReflectedWorld {
 public:
   ReflectedWorld();

   // The interface of "config", "group", "status", "groupStatus", "root", "sm", "groupSm",
   // "intfSm", "dir", "otherDir", "cause", "e1" or "e2" (interface statuses); with "!" behind it, a
   // constant one. Null when it is gone.
   Zet::Ptr< Zet::GenericIf > of( std::string name ) const;

   Zet::Ptr< Ufd::Root > root = Ufd::rootFactory( "root" );
   Zet::Ptr< Ufd::Config > config = Ufd::configFactory( "config" );
   Zet::Ptr< Ufd::Status > status = Ufd::statusFactory( "status" );
   Zet::Ptr< Errdisable::CauseStatus > cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Zet::Ptr< Interface::EthIntfStatusDir > dir =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< Interface::EthIntfStatusDir > otherDir =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "other" );
   Zet::Ptr< Ufd::GroupConfig > group;
   Zet::Ptr< Ufd::UplinkFailureDetectionSm > sm;

 private:
   Zet::Ptr< Zet::PtrInterface > object( std::string const& name ) const;
};

// A value: 7, 2.5, true, 'text', %PORT, a list (NAME:VALUE,...) or @OBJECT of the world; "-" is
// none.
Zet::Ptr< Zet::GenericIf > valueOf( std::string const& word,
                                    ReflectedWorld const* world = nullptr );

// Does what the words say on the object: "minLinks 128 - 7" is the attribute (or its id), the
// operation, the key and the value. Gives the text of the result, "null", or what was
// thrown: "KIND: TEXT".
std::string done( Zet::GenericIf& on, std::string const& words,
                  ReflectedWorld const* world = nullptr );

// What the operation throws: "KIND: TEXT"; empty if it throws nothing.
std::string failureOf( std::function< void() > const& operation );

// Plays lines of "OBJECT.WORDS = RESULT", the words as above. "OBJECT!" is reached as a constant.
void play( ReflectedWorld const& world, std::string const& script );

} // namespace Tests
