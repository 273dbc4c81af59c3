#include "adapters/notify/Description.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

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

} // namespace
