#pragma once

// Everything is hidden unless it is marked: what stands behind this mark is the interface of the
// shared libraries.
#define ZET_EXPORT __attribute__( ( visibility( "default" ) ) )
