#pragma once

namespace Reflect {

// The full names of our types, in the library file's section ".zet.type", for tools that inspect
// the file. A name of 32 bytes or more starts on a 32-byte boundary. A shorter name follows its
// predecessor.
struct TypeNames {
   alignas( 32 ) char groupConfig[ 36 ] = "UplinkFailureDetection::GroupConfig";
   alignas( 32 ) char groupLinkStatus[ 40 ] = "UplinkFailureDetection::GroupLinkStatus";
   alignas( 32 ) char groupStatus[ 36 ] = "UplinkFailureDetection::GroupStatus";
   char config[ 31 ] = "UplinkFailureDetection::Config";
   char status[ 31 ] = "UplinkFailureDetection::Status";
   alignas( 32 ) char intfSm[ 53 ] = "UplinkFailureDetection::UplinkFailureDetectionIntfSm";
   alignas( 32 ) char groupSm[ 54 ] = "UplinkFailureDetection::UplinkFailureDetectionGroupSm";
   alignas( 32 ) char sm[ 49 ] = "UplinkFailureDetection::UplinkFailureDetectionSm";
   char root[ 29 ] = "UplinkFailureDetection::Root";
};

extern TypeNames typeNames;

} // namespace Reflect
