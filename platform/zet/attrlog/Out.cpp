#include "platform/zet/attrlog/Out.h"

#include "platform/zet/Assert.h"
#include "platform/zet/attrlog/In.h"

#include <algorithm>

namespace Zet::NboAttrLog {

Out::Out( std::size_t capacity )
    : capacity_( std::max( capacity, smallestCapacity ) ),
      buffer_( std::make_unique_for_overwrite< unsigned char[] >( capacity_ ) ) {}

Out::~Out() = default;

void
Out::helloIs( TypeId type ) {
   require( unsentSize() == 0 && records_ == 0, "a stream begins with its hello" );
   record_ = at_ = place( recordRoom );
   limit_ = at_ + frameLimit;
   std::copy( magic.begin(), magic.end(), grown( magic.size() ) );
   numberIs( version );
   textIs( type.fullName() );
   commit( record_, at_ );
   record_ = at_ = nullptr;
   if ( localIn_ )
      localIn_->localOutput( *this );
}

void
Out::nextHeaderIs( MsgHeader const& header ) noexcept {
   bool const isMarker = header.kind == transactionKind;
   written_ = false;
   record_ = at_ = place( isMarker ? emptyFrameSize : recordRoom );
   if ( !at_ )
      return;
   limit_ = at_ + ( isMarker ? emptyFrameSize : frameLimit );
   at_ = store( at_ + lengthSize, header );
}

// Returns the place of the record's next `size` bytes; null when the record was refused.
unsigned char*
Out::grown( std::size_t size ) {
   if ( !at_ )
      return nullptr;
   if ( static_cast< std::size_t >( limit_ - at_ ) < size ) {
      record_ = at_ = nullptr;
      throwRangeException( "a record of the attribute log has at most " +
                           std::to_string( frameLimit ) + " bytes" );
   }
   return std::exchange( at_, at_ + size );
}

void
Out::currentPayloadSectionIs( std::uint8_t section ) {
   numberIs( section );
}

void
Out::checkText( std::string_view text ) {
   if ( text.size() > stringLimit )
      throwRangeException( "a text in the attribute log has at most " +
                           std::to_string( stringLimit ) + " bytes, not " +
                           std::to_string( text.size() ) + ": " +
                           std::string( text.substr( 0, 40 ) ) + "..." );
}

void
Out::textIs( std::string_view text ) {
   if ( text.size() > stringLimit ) {
      record_ = at_ = nullptr;
      checkText( text );
   }
   numberIs( static_cast< std::uint16_t >( text.size() ) );
   if ( unsigned char* const at = grown( text.size() ) )
      std::copy( text.begin(), text.end(), at );
}

void
Out::tokenIs( TransactToken token ) {
   numberIs( static_cast< std::uint8_t >( token ) );
   if ( token == TransactToken::end && at_ )
      complete( std::exchange( record_, nullptr ), std::exchange( at_, nullptr ) );
}

void
Out::handLocally() {
   localIn_->localOutput( *this );
}

std::span< unsigned char const >
Out::unsent() const noexcept {
   return { buffer_.get() + head_, ( wrapped_ ? end_ : tail_ ) - head_ };
}

std::size_t
Out::unsentSize() const noexcept {
   return wrapped_ ? end_ - head_ + tail_ : tail_ - head_;
}

void
Out::sentIs( std::size_t size ) noexcept {
   require( size <= unsent().size(), "only unsent bytes are sent" );
   head_ += size;
   if ( wrapped_ && head_ == end_ ) {
      head_ = 0;
      wrapped_ = false;
   }
   if ( !wrapped_ && head_ == tail_ )
      head_ = tail_ = 0;
}

} // namespace Zet::NboAttrLog
