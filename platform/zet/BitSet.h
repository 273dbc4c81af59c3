#pragma once

namespace Zet {

// A set of `Size` bits in one `Word`; bit 4 says whether the set is active.
template < unsigned int Size, class Word > class BitSet {
   static_assert( Size <= sizeof( Word ) * 8 );

 public:
   static constexpr unsigned int size = Size;
   static constexpr unsigned int activeBit = 4;

   constexpr BitSet() noexcept = default;
   constexpr explicit BitSet( Word word ) noexcept : word_( word ) {}

   constexpr bool bit( unsigned int place ) const noexcept { return ( word_ >> place & 1 ) != 0; }
   constexpr void bitIs( unsigned int place, bool on ) noexcept {
      word_ = on ? word_ | Word{ 1 } << place : word_ & ~( Word{ 1 } << place );
   }
   constexpr bool isActive() const noexcept { return bit( activeBit ); }
   constexpr void isActiveIs( bool active ) noexcept { bitIs( activeBit, active ); }
   constexpr Word word() const noexcept { return word_; }

 private:
   Word word_ = 0;
};

} // namespace Zet
