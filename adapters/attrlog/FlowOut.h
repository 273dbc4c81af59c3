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

// The attributes that an entity T has still to write: a dirty bit for each attribute, and the
// places where interrupted replays go on.
template < class T > class FlowOut : public Zet::NboAttrLog::FlowOut {
   using Base = Zet::NboAttrLog::FlowOut;

 public:
   // One bit per attribute, in the order of serializedRows.
   using ZetDirtyBitSet0 = std::uint32_t;
   static_assert( serializedCount< T > <= 32 );

   using Base::Base;

   bool hasDirtyAttributes() const override { return dirty_ != 0 || Base::hasDirtyAttributes(); }
   void restart() override {
      forEachSerialized< T >( [ & ]( auto place ) { restart< place >(); } );
   }
   // Marks the attribute to be written. Its replay begins at the first member.
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
   // Does the same for the attribute that `Get` reads. A type's own class names its operations
   // after attributes.
   template < auto Get > void attributeDirtyIs( bool dirty ) noexcept {
      dirtyIs< placeOf< T, Get >() >( dirty );
   }
   ZetDirtyBitSet0 dirtyBits() const noexcept { return dirty_; }

   // Returns the place where the replay of that collection goes on; none unless the replay was
   // interrupted.
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

   // Notes that a changed member could not be written at once. A replay under way may have passed
   // the member, and the reader does not remove a member that was written behind the opening
   // marker. So the collection is replayed once more.
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
   // Collections to replay once more after the replay under way.
   ZetDirtyBitSet0 again_ = 0;
   Detail::Bookmarks< T > bookmarks_;
};

} // namespace AttrLog
