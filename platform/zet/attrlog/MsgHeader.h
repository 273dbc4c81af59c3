#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/attrlog/EntityId.h"
#include "platform/zet/attrlog/Format.h"

namespace Zet::NboAttrLog {

// The header of a record, its seven fields in wire order.
struct MsgHeader {
   EntityId entity; // Two fields.
   AttributeId attribute = 0;
   std::uint8_t kind = attributeKind;
   std::uint32_t count = 0; // Of a transaction marker: its third argument.
   std::uint32_t creation = 0;
   std::uint8_t transaction = 0;
};

} // namespace Zet::NboAttrLog
