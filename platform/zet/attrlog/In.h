#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/attrlog/MsgHeader.h"

#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace Zet::NboAttrLog {

class Demuxer;
class Out;

// The reading end of a connection. Takes bytes as they come and passes each whole record to the
// adapter of its entity. Trusts no bytes: a malformed record ends the connection. error() then says
// what and where, and further bytes are ignored.
class ZET_EXPORT In : public PtrInterface {
 public:
   // Borrows: the demuxer, which clears its pointer here before it goes.
   explicit In( Demuxer* demuxer ) noexcept : demuxer_( demuxer ) {}

   // Sets the full name of the type that the peer must announce. Empty allows any type.
   void expectedTypeIs( String8 fullName ) { expectedType_ = std::move( fullName ); }
   // Returns the type that the peer has announced; empty until then.
   String8 const& helloType() const noexcept { return helloType_; }

   // Handles the records that these bytes complete. Returns false once the connection has ended.
   // Requires: not called from inside of itself. Borrows: the bytes, until it returns.
   bool receive( std::span< unsigned char const > bytes );
   // Returns why the connection has ended, with the field and its offset in the stream; empty until
   // it ends.
   String8 const& error() const noexcept { return error_; }
   // Return how many whole records have been handled, and how many bytes up to the end of the last.
   std::uint64_t records() const noexcept { return records_; }
   std::uint64_t offset() const noexcept { return offset_; }
   // Returns true if a record, or the hello, has begun and not ended.
   bool isInsideRecord() const noexcept { return filled_ != 0; }

   // Reads the unsent bytes of an output of this process.
   void localOutput( Out& out );
   // Returns true if records come from an output of this process.
   bool isLocal() const noexcept { return isLocal_; }
   // Stores the id that this side has given to a child. The other side takes it with
   // nextEntityId().
   void assignedEntityIdIs( EntityId id ) noexcept { assigned_ = id; }
   // Returns true while bytes are being handled.
   bool isReceiving() const noexcept { return receiving_; }

   Demuxer* demuxer() const noexcept { return demuxer_; }
   void demuxerIs( Demuxer* demuxer ) noexcept { demuxer_ = demuxer; }

   // Read the payload of the record that is being delivered. All of these throw
   // MalformedException.
   //
   // Names the next value, for the text of an error. Borrows: the name, until the next one.
   void fieldIs( std::string_view name ) noexcept { field_ = name; }
   bool nextbool();
   std::uint8_t nextU8() { return next< std::uint8_t >(); }
   std::uint16_t nextU16() { return next< std::uint16_t >(); }
   unsigned int nextU32() { return next< std::uint32_t >(); }
   int nextS32() { return static_cast< int >( next< std::uint32_t >() ); }
   double nextSeconds() { return std::bit_cast< double >( next< std::uint64_t >() ); }
   // Valid until: the record has been delivered.
   std::string_view nextText();
   String8 nextString() { return nextText(); }
   // Reads an id from the payload. Between records, returns the id that was assigned last, and
   // forgets it.
   EntityId nextEntityId();
   // Reads a number that is the whole payload. Returns false, and reads nothing, if the payload has
   // another size.
   template < class Number > bool nextWhole( Number& number ) noexcept {
      if ( left() != sizeof( Number ) ) [[unlikely]]
         return false;
      number = load< Number >( unit_ + at_ );
      at_ = end_;
      return true;
   }
   // Skips the mark of a payload section. Throws unless it is the mark of this section.
   void payloadSectionIs( std::uint8_t section );
   std::size_t position() const noexcept { return at_; }
   void positionIs( std::size_t position ) noexcept { at_ = position; }
   std::size_t left() const noexcept { return end_ - at_; }
   // Throws unless the payload ends here.
   void payloadEnd() const {
      if ( left() != 0 ) [[unlikely]]
         malformedRest();
   }
   // Ends the connection because of the field that was read last.
   [[noreturn]] void malformed( String8 const& what ) const;
   // Ends the connection because of the field at that place in the record.
   [[noreturn]] void malformedAt( std::size_t position, std::string_view field,
                                  String8 const& what ) const;
   // The places of the header's fields in a record, in bytes.
   static constexpr std::size_t entityAt = lengthSize;
   static constexpr std::size_t attributeAt = entityAt + 8;
   static constexpr std::size_t kindAt = attributeAt + 4;
   static constexpr std::size_t countAt = kindAt + 1;
   static constexpr std::size_t creationAt = countAt + 4;
   static constexpr std::size_t transactionAt = creationAt + 4;

 protected:
   ~In() override;

 private:
   // Returns the size of the unit that begins with these bytes or, when they are too few to tell,
   // of the part that tells it.
   std::size_t needed( unsigned char const* begin, std::size_t size ) const;
   std::size_t recordSize( unsigned char const* begin ) const;
   [[noreturn]] void malformedSize( std::size_t size ) const;
   std::span< unsigned char const > deliverWhole( std::span< unsigned char const > bytes );
   std::size_t gather( std::span< unsigned char const > bytes );
   void unitCompleted();
   void greet();
   void deliver();
   MsgHeader header();
   void headerRest( MsgHeader& header ) const;
   void fail( String8 const& what );
   template < class Number > Number next() { return load< Number >( take( sizeof( Number ) ) ); }
   unsigned char const* take( std::size_t size ) {
      last_ = at_;
      if ( left() < size ) [[unlikely]]
         malformedEnd( size );
      at_ += size;
      return unit_ + last_;
   }
   [[noreturn]] void malformedEnd( std::size_t size ) const;
   [[noreturn]] void malformedRest() const;

   Demuxer* demuxer_;
   String8 expectedType_;
   String8 helloType_;
   bool greeted_ = false;
   bool receiving_ = false;
   bool isLocal_ = false;
   String8 error_;
   std::uint64_t records_ = 0;

   // The unit, a record or the hello, and the number of its bytes that are there. A unit that
   // arrives in one piece is read in place. Others are gathered first.
   std::array< unsigned char, frameLimit > gathered_;
   unsigned char const* unit_ = nullptr;
   std::size_t filled_ = 0;
   // The unit's offset in the stream.
   std::uint64_t offset_ = 0;

   // Places in the unit: of the next value, of the last value, and of the payload's end.
   std::size_t at_ = 0;
   std::size_t last_ = 0;
   std::size_t end_ = 0;
   std::string_view field_;
   std::optional< EntityId > assigned_;
};

} // namespace Zet::NboAttrLog
