#pragma once

#include "platform/zet/BitReverse.h"
#include "platform/zet/Export.h"
#include "platform/zet/ReferenceCount.h"

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Zet {

// Returns the 32-bit hash of a text: FNV-1a over its bytes, then mixed, so that every bit depends
// on the whole text. The hash is the same in every process and every run.
constexpr std::uint32_t
hashOfText( std::string_view text ) noexcept {
   std::uint32_t hash = 0x811c9dc5;
   for ( char const byte : text )
      hash = ( hash ^ static_cast< unsigned char >( byte ) ) * 0x01000193;
   hash = ( hash ^ hash >> 16 ) * 0x7feb352d;
   hash = ( hash ^ hash >> 15 ) * 0x846ca68b;
   return hash ^ hash >> 16;
}

// An immutable, counted byte string that keeps its bit-reversed hash. Copies share the text.
template < class Byte > class ZET_EXPORT StringN {
   static_assert( sizeof( Byte ) == 1 );

 public:
   using IteratorConst = Byte const*;

   StringN() noexcept = default;
   StringN( std::string_view text );
   StringN( char const* text ) : StringN( std::string_view( text ) ) {}
   StringN( std::string const& text ) : StringN( std::string_view( text ) ) {}
   StringN( StringN const& other ) noexcept : text_( other.text_ ) {
      if ( text_ )
         countUp( text_->count );
   }
   StringN( StringN&& other ) noexcept : text_( std::exchange( other.text_, nullptr ) ) {}
   ~StringN() {
      if ( text_ && countDown( text_->count ) == 1 )
         free( text_ );
   }
   StringN& operator=( StringN other ) noexcept {
      std::swap( text_, other.text_ );
      return *this;
   }

   // Returns the text with a zero byte behind it. Valid until: the last copy of this string goes.
   char const* c_str() const noexcept { return text_ ? text_->bytes() : ""; }
   std::string_view view() const noexcept {
      return text_ ? std::string_view( text_->bytes(), text_->size ) : std::string_view();
   }
   std::size_t size() const noexcept { return text_ ? text_->size : 0; }
   bool empty() const noexcept { return text_ == nullptr; }
   std::uint32_t hash() const noexcept { return bitReverse( position() ); }
   // Returns the bit-reversed hash: the place in the order of a HashMap. Kept, since a string is
   // looked up far more often than hashed.
   std::uint32_t position() const noexcept { return text_ ? text_->position : positionOfEmpty; }

   IteratorConst begin() const noexcept { return reinterpret_cast< IteratorConst >( c_str() ); }
   IteratorConst end() const noexcept { return begin() + size(); }

   bool operator==( StringN const& other ) const noexcept {
      return text_ == other.text_ || ( position() == other.position() && view() == other.view() );
   }
   bool operator==( char const* other ) const noexcept { return view() == other; }
   // Compares the bytes as unsigned numbers.
   std::strong_ordering operator<=>( StringN const& other ) const noexcept {
      return view() <=> other.view();
   }

   friend StringN operator+( StringN const& left, StringN const& right ) {
      return joined( left.view(), right.view() );
   }

 private:
   static constexpr std::uint32_t positionOfEmpty = bitReverse( hashOfText( {} ) );

   // Followed in memory by the text's bytes and a zero byte.
   struct Text {
      std::atomic< std::uint32_t > count;
      std::uint32_t position;
      std::uint32_t size;
      char* bytes() noexcept { return reinterpret_cast< char* >( this + 1 ); }
   };

   static std::size_t memoryOf( std::size_t size ) noexcept;
   static Text* textOf( std::size_t size );
   static void free( Text* text ) noexcept;
   static StringN joined( std::string_view left, std::string_view right );

   Text* text_ = nullptr; // Null for the empty string.
};

extern template class StringN< unsigned char >;

using String8 = StringN< unsigned char >;
// The name of an entity.
using Name = StringN< unsigned char >;

ZET_EXPORT std::ostream& operator<<( std::ostream& stream, String8 const& text );

} // namespace Zet
