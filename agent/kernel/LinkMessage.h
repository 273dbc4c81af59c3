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

// Writes the question how the link of that index is, or with NLM_F_DUMP how all are. Needs no more
// than questionRoom; the result is its size.
constexpr std::size_t questionRoom = 64;
std::size_t putLinkQuestion( std::byte* room, std::uint32_t index, std::uint16_t flags,
                             std::uint32_t sequence );

// What a message says of a link; of a deleted one there is no name. None when the message is no
// news of a link: a bridge tells of its ports in messages of the same kind, of another family.
std::optional< Link > linkOf( nlmsghdr const& message );

// The errno value in a message that ends a dump or answers a request.
int errorOf( nlmsghdr const& message );

} // namespace Ufdd
