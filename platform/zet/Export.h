#pragma once

// Marks the interface of the shared libraries. Everything without this mark is hidden.
#define ZET_EXPORT __attribute__( ( visibility( "default" ) ) )
