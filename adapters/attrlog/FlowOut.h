#pragma once

#include "adapters/attrlog/SerializedRows.h"
#include "platform/zet/Assert.h"
#include "platform/zet/attrlog/FlowOut.h"
#include "platform/zet/attrlog/StreamAdapter.h"

#include <cstdint>
#include <optional>
#include <variant>

namespace AttrLog {

namespace Detail {

template < class R >
auto
emptyBookmark() {
   if constexpr ( CollectionRow< R > )
      return std::optional< typename R::Key >();
   else
      return std::monostate();
}

template < class T, std::size_t... I >
auto
emptyBookmarks( std::index_sequence< I... > ) {
   return std::tuple{ emptyBookmark< SerializedRow< T, I > >()... };
}

template < class T >
using Bookmarks =
    decltype( emptyBookmarks< T >( std::make_index_sequence< serializedCount< T > >{} ) );

} // namespace Detail

// What an entity T has still to write: a dirty bit for each attribute, and where a replay that was
// interrupted goes on.
template < class T > class FlowOut : public Zet::NboAttrLog::FlowOut {
   using Base = Zet::NboAttrLog::FlowOut;

 public:
   // A bit per attribute, in the order of serializedRows.
   using ZetDirtyBitSet0 = std::uint32_t;
   static_assert( serializedCount< T > <= 32 );

   using Base::Base;

   bool hasDirtyAttributes() const override { return dirty_ != 0 || Base::hasDirtyAttributes(); }
   void restart() override {
      forEachSerialized< T >( [ & ]( auto place ) { restart< place >(); } );
   }
   // The attribute is to be written, a replay of it from its first member.
   template < std::size_t I > void restart() {
      dirtyIs< I >( true );
      if constexpr ( CollectionRow< SerializedRow< T, I > > ) {
         again_ &= ~bit< I >;
         if ( std::exchange( bookmark< I >(), std::nullopt ) )
            pendingAbortIs( std::get< I >( serializedRows< T > ).id );
      }
   }

   template < std::size_t I > bool isDirty() const noexcept { return (dirty_ & bit< I >) != 0; }
   template < std::size_t I > void dirtyIs( bool dirty ) noexcept {
      dirty_ = dirty ? dirty_ | bit< I > : dirty_ & ~bit< I >;
   }
   // The same by attribute, for the operations that a type's own class names after them.
   template < auto Get > void attributeDirtyIs( bool dirty ) noexcept {
      dirtyIs< placeOf< T, Get >() >( dirty );
   }
   ZetDirtyBitSet0 dirtyBits() const noexcept { return dirty_; }

   // Where the replay of that collection goes on; none unless it was interrupted.
   template < std::size_t I > auto const& bookmark() const noexcept {
      return std::get< I >( bookmarks_ );
   }
   template < std::size_t I > auto takeBookmark() noexcept {
      return std::exchange( bookmark< I >(), std::nullopt );
   }
   template < std::size_t I, class Key > void bookmarkIs( Key const& key ) {
      Zet::require( !bookmark< I >(), "a replay is interrupted at one place" );
      bookmark< I >() = key;
   }
   void freeBookmarks() noexcept { bookmarks_ = {}; }

   // A member changed that could not be written at once. A replay under way may have passed it, and
   // a member that was written behind the opening marker is not swept: it is run once more.
   template < std::size_t I > void memberDeferred() noexcept {
      dirtyIs< I >( true );
      if ( bookmark< I >() )
         again_ |= bit< I >;
   }
   template < std::size_t I > void replayed() noexcept {
      dirtyIs< I >( (again_ & bit< I >) != 0 );
      again_ &= ~bit< I >;
   }

 protected:
   ~FlowOut() override = default;

 private:
   template < std::size_t I > static constexpr ZetDirtyBitSet0 bit = ZetDirtyBitSet0{ 1 } << I;

   template < std::size_t I > auto& bookmark() noexcept { return std::get< I >( bookmarks_ ); }

   ZetDirtyBitSet0 dirty_ = 0;
   // Collections to replay once more after the replay that is under way.
   ZetDirtyBitSet0 again_ = 0;
   Detail::Bookmarks< T > bookmarks_;
};

} // namespace AttrLog
