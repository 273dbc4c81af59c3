#pragma once

#include "agent/kernel/LinkSource.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

struct nlmsghdr;
struct ifinfomsg;

namespace Ufdd {

// An rtnetlink message about a link, being written.
struct LinkMessage {
   nlmsghdr* header;
   ifinfomsg* info; // Zero so far.
};

// Begins one at the front of `room`, which is aligned for it and has the room.
LinkMessage beginLinkMessage( std::byte* room, std::uint16_t type, std::uint16_t flags,
                              std::uint32_t sequence );

// Writes a request for the state of that link, or with NLM_F_DUMP of all links. Returns its size,
// at most queryRoom.
constexpr std::size_t queryRoom = 64;
std::size_t putLinkQuery( std::byte* room, std::uint32_t index, std::uint16_t flags,
                          std::uint32_t sequence );

// Decodes a message about a link. Returns nothing for other messages, such as those of a bridge
// about its members, which have the same type and another family.
std::optional< Link > linkOf( nlmsghdr const& message );

// Returns the errno value in a message that ends a dump or answers a request.
int errorOf( nlmsghdr const& message );

} // namespace Ufdd
