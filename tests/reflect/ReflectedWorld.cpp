#include "tests/reflect/ReflectedWorld.h"

#include <array>

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
   if ( name == "config" )
      return config;
   if ( name == "group" )
      return group;
   if ( name == "status" )
      return status;
   if ( name == "groupStatus" )
      return status->group( "g" );
   if ( name == "root" )
      return root;
   if ( name == "sm" )
      return sm;
   if ( name == "groupSm" )
      return sm->uplinkFailureDetectionGroupSm( "g" );
   if ( name == "intfSm" )
      return sm->uplinkFailureDetectionGroupSm( "g" )->uplinkFailureDetectionIntfSm(
          Kelnet::IntfId( "e1" ) );
   if ( name == "dir" )
      return dir;
   if ( name == "cause" )
      return cause;
   return dir->intfStatus( Kelnet::IntfId( name ) );
}

Zet::Ptr< Zet::GenericIf >
ReflectedWorld::of( std::string const& name, bool isConst ) const {
   auto const reflected = object( name );
   return reflected->fwkType()->genericIf( reflected, isConst );
}

std::string
done( Zet::GenericIf& on, std::string const& attribute, unsigned int operation,
      Zet::Ptr< Zet::GenericIf > const& key, Zet::Ptr< Zet::GenericIf > const& value ) {
   static constexpr std::array kinds{ "const", "opNotSupported",  "badIndex",
                                      "type",  "unknownArgument", "unknownAttribute" };
   try {
      auto const result = on.attributeOp( { on.attributeId( attribute ), operation }, key, value );
      std::string text = result ? result->strRep().c_str() : "null";
      // Addresses say nothing.
      return text.substr( 0, text.find( "(0x" ) );
   } catch ( Zet::GenericIfException const& failure ) {
      std::string const number =
          failure.operation() ? " " + std::to_string( failure.operation() ) : "";
      return kinds.at( failure.kind() - Zet::GenericIfException::constInstance ) + number + ": " +
             failure.what();
   } catch ( Zet::Exception const& failure ) {
      return std::to_string( failure.frameworkId() ) + ": " + failure.what();
   }
}

} // namespace Tests
