#include "tests/reflect/ReflectedWorld.h"

#include "platform/zet/generic/ValueIf.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <sstream>

namespace Tests {

ReflectedWorld::ReflectedWorld() : group( config->groupIs( "g" ) ) {
   Kelnet::IntfId const e1( "e1" );
   group->intfsToMonitorIs( e1, true );
   group->intfsToDisableIs( Kelnet::IntfId( "d1" ), true );
   dir->intfStatusIs( e1 )->operStatusIs( Interface::OperStatus::up );
   dir->intfStatusIs( Kelnet::IntfId( "e2" ) );
   sm = root->uplinkFailureDetectionSmIs( config, status, cause, dir );
}

Zet::Ptr< Zet::PtrInterface >
ReflectedWorld::object( std::string const& name ) const {
   auto const groupSm = sm->uplinkFailureDetectionGroupSm( "g" );
   auto const intfSm =
       groupSm ? groupSm->uplinkFailureDetectionIntfSm( Kelnet::IntfId( "e1" ) ) : nullptr;
   std::pair< std::string_view, Zet::Ptr< Zet::PtrInterface > > const objects[] = {
      { "config", config },
      { "group", group },
      { "status", status },
      { "root", root },
      { "sm", sm },
      { "groupStatus", status->group( "g" ) },
      { "groupSm", groupSm },
      { "intfSm", intfSm },
      { "dir", dir },
      { "cause", cause },
      { "otherDir", otherDir },
   };
   for ( auto const& [ own, object ] : objects )
      if ( own == name )
         return object;
   return dir->intfStatus( Kelnet::IntfId( name ) );
}

Zet::Ptr< Zet::GenericIf >
ReflectedWorld::of( std::string name ) const {
   bool const isConst = name.ends_with( '!' );
   if ( isConst )
      name.pop_back();
   auto const reflected = object( name );
   return reflected ? reflected->fwkType()->genericIf( reflected, isConst ) : nullptr;
}

Zet::Ptr< Zet::GenericIf >
valueOf( std::string const& word, ReflectedWorld const* world ) {
   std::string const inside = word.size() < 2 ? "" : word.substr( 1, word.size() - 2 );
   switch ( word[ 0 ] ) {
   case '-':
      return nullptr;
   case '\'':
      return Zet::valueIf( Zet::Name( inside ) );
   case '%':
      return Zet::valueIf( Kelnet::IntfId( word.substr( 1 ) ) );
   case '@':
      return world->of( word.substr( 1 ) );
   case 't':
   case 'f':
      return Zet::valueIf( word == "true" );
   case '(': {
      auto const list = Zet::make< Zet::GenericIf::List_ >();
      std::istringstream elements( inside );
      for ( std::string one; std::getline( elements, one, ',' ); ) {
         std::size_t const colon = one.find( ':' );
         list->elementIs( one.substr( 0, colon ), valueOf( one.substr( colon + 1 ), world ) );
      }
      return list;
   }
   default:
      return word.find( '.' ) != word.npos
                 ? Zet::valueIf( std::stod( word ) )
                 : Zet::valueIf( static_cast< unsigned int >( std::stoul( word ) ) );
   }
}

std::string
failureOf( std::function< void() > const& operation ) {
   static constexpr std::array kinds{ "const", "opNotSupported",  "badIndex",
                                      "type",  "unknownArgument", "unknownAttribute" };
   try {
      operation();
      return "";
   } catch ( Zet::GenericIfException const& failure ) {
      std::string const number =
          failure.operation() ? " " + std::to_string( failure.operation() ) : "";
      return kinds.at( failure.kind() - Zet::GenericIfException::constInstance ) + number + ": " +
             failure.what();
   } catch ( Zet::Exception const& failure ) {
      return std::to_string( failure.frameworkId() ) + ": " + failure.what();
   }
}

std::string
done( Zet::GenericIf& on, std::string const& words, ReflectedWorld const* world ) {
   std::istringstream stream( words );
   std::string attribute;
   unsigned int operation = 0;
   std::string key = "-";
   std::string value = "-";
   stream >> attribute >> operation >> key >> value;
   std::string text;
   std::string const failure = failureOf( [ & ] {
      bool const isId = std::isdigit( static_cast< unsigned char >( attribute.front() ) );
      Zet::AttributeId const id = isId ? std::stoi( attribute ) : on.attributeId( attribute );
      auto const result =
          on.attributeOp( { id, operation }, valueOf( key, world ), valueOf( value, world ) );
      text = result ? result->strRep().c_str() : "null";
   } );
   // Addresses say nothing.
   return failure.empty() ? text.substr( 0, text.find( "(0x" ) ) : failure;
}

void
play( ReflectedWorld const& world, std::string const& script ) {
   std::istringstream lines( script );
   for ( std::string line; std::getline( lines, line ); ) {
      if ( line.empty() )
         continue;
      std::size_t const dot = line.find( '.' );
      std::size_t const equals = line.find( " = " );
      EXPECT_EQ( line.substr( equals + 3 ),
                 done( *world.of( line.substr( 0, dot ) ), line.substr( dot + 1, equals - dot - 1 ),
                       &world ) )
          << line;
   }
}

} // namespace Tests
