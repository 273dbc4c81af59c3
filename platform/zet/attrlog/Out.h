#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/attrlog/MsgHeader.h"
#include "platform/zet/attrlog/TypeId.h"

#include <concepts>
#include <memory>
#include <span>
#include <type_traits>

namespace Zet {

namespace Connection {

class ZET_EXPORT Out : public PtrInterface {
 public:
   // The tokens before and behind the payload of a record.
   enum class TransactToken : std::uint8_t { begin = 1, end = 3 };
};

} // namespace Connection

namespace NboAttrLog {

class Demuxer;
class In;

// The writing end of a connection: a buffer of fixed size that somebody else empties. Each record
// goes in whole or not at all. Nothing is allocated for a record.
class ZET_EXPORT Out : public Connection::Out {
 public:
   // The bytes that are kept free for transaction markers, which are written even when records are
   // refused.
   static constexpr std::size_t markerReserve = 16 * emptyFrameSize;
   static constexpr std::size_t smallestCapacity = 2 * ( frameLimit + markerReserve );

   // Makes a buffer of `capacity` bytes, but at least of smallestCapacity.
   explicit Out( std::size_t capacity );

   // Announces the format's version and the type of the replicated root. Written first.
   // Requires: an empty buffer. Throws: RangeException for a name over the limit.
   void helloIs( TypeId type );

   // Returns true if any one record fits.
   bool hasSufficientBuffer() const noexcept { return place( recordRoom ) != nullptr; }

   // Writes a whole record with its tokens. Returns false when it does not fit.
   // Throws: RangeException for a text over the limit.
   template < class... Value > bool record( MsgHeader const& header, Value const&... value );

   // Write a record in steps, for payloads with sections or of unlimited size.
   //
   // nextHeaderIs() begins a record. When the record does not fit, no step has an effect until the
   // end token. A text or a record over the limit throws RangeException and drops the record.
   void nextHeaderIs( MsgHeader const& header ) noexcept;
   // Names the section of the payload for the next value.
   void currentPayloadSectionIs( std::uint8_t section );
   void tokenIs( TransactToken token );
   template < std::unsigned_integral Number > void numberIs( Number number ) {
      if ( unsigned char* const at = grown( sizeof number ) )
         store( at, number );
   }
   void textIs( std::string_view text );
   // Returns true if the last record went into the buffer.
   bool hasWritten() const noexcept { return written_; }
   std::uint64_t records() const noexcept { return records_; }

   // Returns the bytes to send next, in one piece. More bytes may follow them.
   // Valid until: the next call that is not const.
   std::span< unsigned char const > unsent() const noexcept;
   std::size_t unsentSize() const noexcept;
   // Frees the first `size` bytes. Requires: unsent() holds at least `size` bytes.
   void sentIs( std::size_t size ) noexcept;
   std::size_t capacity() const noexcept { return capacity_; }

   // The input and the demuxer of the same connection; null for an end by itself.
   // Borrows: each clears its pointer here before it goes.
   In* in() const noexcept { return in_; }
   void inIs( In* in ) noexcept { in_ = in; }
   Demuxer* demuxer() const noexcept { return demuxer_; }
   void demuxerIs( Demuxer* demuxer ) noexcept { demuxer_ = demuxer; }

   // Connects to a reader in this process. The reader is passed every record at once, and its side
   // gives the ids to created children. Borrows: cleared before the reader goes.
   In* localIn() const noexcept { return localIn_; }
   void localInIs( In* in ) noexcept { localIn_ = in; }

 protected:
   ~Out() override;

 private:
   static constexpr std::size_t recordRoom = frameLimit + markerReserve;

   unsigned char* place( std::size_t room ) const noexcept;
   unsigned char* grown( std::size_t size );
   void commit( unsigned char* begin, unsigned char* end ) noexcept;
   // Completes the record, which ends at `end`, behind its end token.
   void complete( unsigned char* begin, unsigned char* end );
   void handLocally();
   static void checkText( std::string_view text );

   std::size_t capacity_;
   std::unique_ptr< unsigned char[] > buffer_;
   // The unsent bytes are [head_, tail_) or, when wrapped, [head_, end_) and [0, tail_). No record
   // is split.
   std::size_t head_ = 0;
   std::size_t tail_ = 0;
   std::size_t end_ = 0;
   bool wrapped_ = false;

   // The record that is being written; null between records and after a refusal.
   unsigned char* record_ = nullptr;
   unsigned char* at_ = nullptr;
   unsigned char* limit_ = nullptr;
   bool written_ = false;
   std::uint64_t records_ = 0;

   In* in_ = nullptr;
   Demuxer* demuxer_ = nullptr;
   In* localIn_ = nullptr;
};

// Returns a place with that many free bytes in one piece; null when there is none.
inline unsigned char*
Out::place( std::size_t room ) const noexcept {
   unsigned char* const buffer = buffer_.get();
   if ( wrapped_ )
      return head_ - tail_ >= room ? buffer + tail_ : nullptr;
   if ( capacity_ - tail_ >= room )
      return buffer + tail_;
   return head_ >= room ? buffer : nullptr;
}

inline void
Out::commit( unsigned char* begin, unsigned char* end ) noexcept {
   if ( begin == buffer_.get() && tail_ != 0 && !wrapped_ ) {
      wrapped_ = true;
      end_ = tail_;
   }
   tail_ = static_cast< std::size_t >( end - buffer_.get() );
}

inline void
Out::complete( unsigned char* begin, unsigned char* end ) {
   store( begin,
          static_cast< std::uint16_t >( static_cast< std::size_t >( end - begin ) - lengthSize ) );
   commit( begin, end );
   ++records_;
   if ( localIn_ )
      handLocally();
   // Set last: a local reader's answer may have written other records meanwhile.
   written_ = true;
}

// Reserves room for the greatest record at once, so that no value needs a check of its own.
template < class... Value >
bool
Out::record( MsgHeader const& header, Value const&... value ) {
   static_assert( (emptyFrameSize + ... + greatestSize< Value >) <= frameLimit );
   (
       [ & ] {
          if constexpr ( std::is_same_v< Value, std::string_view > )
             if ( value.size() > stringLimit )
                checkText( value );
       }(),
       ... );
   unsigned char* const begin = place( recordRoom );
   written_ = false;
   if ( !begin )
      return false;
   unsigned char* at = store( begin + lengthSize, header );
   at = store( at, static_cast< std::uint8_t >( TransactToken::begin ) );
   ( ( at = store( at, value ) ), ... );
   at = store( at, static_cast< std::uint8_t >( TransactToken::end ) );
   complete( begin, at );
   return true;
}

inline Out&
operator<<( Out& out, Out::TransactToken token ) {
   out.tokenIs( token );
   return out;
}
inline Out&
operator<<( Out& out, unsigned int number ) {
   out.numberIs( number );
   return out;
}
inline Out&
operator<<( Out& out, int number ) {
   out.numberIs( static_cast< std::uint32_t >( number ) );
   return out;
}
// Takes bool alone, no type that converts to it.
inline Out&
operator<<( Out& out, std::same_as< bool > auto truth ) {
   out.numberIs( static_cast< std::uint8_t >( truth ) );
   return out;
}
inline Out&
operator<<( Out& out, double const& number ) {
   out.numberIs( std::bit_cast< std::uint64_t >( number ) );
   return out;
}
inline Out&
operator<<( Out& out, String8 const& text ) {
   out.textIs( text.view() );
   return out;
}
inline Out&
operator<<( Out& out, EntityId const& id ) {
   return out << id.first << id.second;
}
inline Out&
operator<<( Out& out, TypeId type ) {
   out.textIs( type.fullName() );
   return out;
}

} // namespace NboAttrLog

} // namespace Zet
