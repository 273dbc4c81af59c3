#include "adapters/notify/Description.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Tests;

namespace {

void
expectAttributes( Zet::Entity const& entity, std::vector< char const* > const& names ) {
   for ( std::size_t index = 0; index < names.size(); ++index )
      EXPECT_EQ( entity.attributeString( static_cast< Zet::AttributeId >( 258 + index ) ),
                 names[ index ] );
   auto const past = static_cast< Zet::AttributeId >( 258 + names.size() );
   for ( Zet::AttributeId const unknown : { 257, past, -1 } )
      EXPECT_TRUE( entity.attributeString( unknown ).view().starts_with( "unknown" ) ) << unknown;
}

TEST( Description, namesTheAttributes ) {
   expectAttributes( *Sample< Ufd::GroupConfig >().entity,
                     { "intfsToMonitor", "intfsToDisable", "minLinks", "minLinksDefault" } );
   expectAttributes( *Sample< Ufd::GroupStatus >().entity,
                     { "groupLinkStatus", "numTimesDisabled", "prevDisabledTime" } );
   expectAttributes( *Sample< Ufd::Config >().entity, { "group" } );
   expectAttributes( *Sample< Ufd::Status >().entity, { "group" } );
   expectAttributes( *Sample< Ufd::Root >().entity, { "uplinkFailureDetectionSm" } );
}

// The library's own descriptor, not a second one of this program.
template < class E >
void
expectType( char const* name ) {
   Zet::Ptr< Zet::ZetType const > const type = Sample< E >().entity->fwkType();
   EXPECT_EQ( type->name(), name );
   EXPECT_EQ( type, E::_fwkType() );
   EXPECT_EQ( type->base(), Zet::Entity::_fwkType() );
   EXPECT_TRUE( type->isNondestructing() );
   auto const& derived = type->base()->derivedTypes();
   EXPECT_EQ( std::count( derived.begin(), derived.end(), type ), 1 ) << name;
}

TEST( Description, hasOneTypeDescriptorEach ) {
   expectType< Ufd::GroupConfig >( "GroupConfig" );
   expectType< Ufd::GroupStatus >( "GroupStatus" );
   expectType< Ufd::Config >( "Config" );
   expectType< Ufd::Status >( "Status" );
   expectType< Ufd::Root >( "Root" );
   EXPECT_EQ( Zet::Entity::_fwkType()->base(), Zet::PtrInterface::_fwkType() );
   auto const status = Ufd::_fwkType_GroupLinkStatus();
   EXPECT_EQ( status->name(), "GroupLinkStatus" );
   EXPECT_EQ( status->base(), nullptr );
   EXPECT_EQ( Ufd::_fwkType_GroupLinkStatus(), status );
}

} // namespace
