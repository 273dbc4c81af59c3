#pragma once

#include "adapters/reflect/FrameworkRows.h"
#include "adapters/reflect/Operations.h"
#include "platform/zet/generic/ObjectIf.h"
#include "platform/zet/types/ZetAttr.h"

namespace Reflect {

// The generic interface of a T, made from T's rows. `Base` answers for all other attributes.
//
// A place of its iterators holds the object. The operations refuse a place in another collection or
// object, and a place at the end where a member is needed: GenericIfException `badIndex`.
template < class T, class Base > class ZET_EXPORT ReflectedIf : public Base {
   using Place = Zet::GenericIf::Place;

 public:
   ReflectedIf( Zet::Ptr< T > object, bool isConst ) : Base( std::move( object ), isConst ) {}

   Zet::Ptr< Zet::ZetType const > zetType() const override { return T::_fwkType(); }

   Zet::String8 attributeString( Zet::AttributeId id ) const override {
      std::string_view name;
      atRow( id, [ & ]( auto const& row ) { name = row.name; } );
      return name.empty() ? Base::attributeString( id ) : Zet::String8( name );
   }
   Zet::AttributeId attributeId( Zet::String8 name ) const override {
      Zet::ZetAttr const* const attribute = Zet::typeOf< T >().findAttr( name.view() );
      return attribute ? attribute->id() : Base::attributeId( std::move( name ) );
   }
   Zet::AttributeId zetAttributeId( std::string_view name ) const override {
      Zet::ZetAttr const* const attribute = Zet::typeOf< T >().findAttr( name );
      return attribute ? attribute->id() : Base::attributeId( Zet::String8( name ) );
   }

   Interface attributeOp( Zet::GenericIf::AttributeOp const& op, InterfaceConst const& key,
                          Interface const& value ) override {
      this->requireChangeable( op.operation );
      return operateFrom< 0 >( op, key, value );
   }

   Zet::Ptr< Place > attributeIteratorConst( Zet::AttributeId id ) const override {
      Zet::Ptr< Place > place;
      return atCollection( id,
                           [ & ]< class R >( R const& ) {
                              place = newPlace< R >( ( reflected().*R::members )().begin() );
                           } )
                 ? place
                 : Base::attributeIteratorConst( id );
   }
   Zet::Ptr< Place > attributeIteratorKeyConst( Zet::AttributeId id,
                                                InterfaceConst const& key ) const override {
      Zet::Ptr< Place > place;
      return atCollection( id,
                           [ & ]< class R >( R const& row ) {
                              using Key = typename R::Key;
                              auto const& members = ( reflected().*R::members )();
                              place = newPlace< R >(
                                  members.from( ArgumentAs< Key >::value( key.get(), row.name ) ) );
                           } )
                 ? place
                 : Base::attributeIteratorKeyConst( id, key );
   }
   Interface attributeIterator_iterObj( Zet::AttributeId id, Place const& at ) const override {
      Interface member;
      return atMember( id, at,
                       [ & ]( auto const& place ) {
                          if constexpr ( requires { place.at->value(); } )
                             member = resultIf( place.at->value(), this->isConst() );
                          else
                             member = resultIf( place.at.member(), this->isConst() );
                       } )
                 ? member
                 : Base::attributeIterator_iterObj( id, at );
   }
   Interface attributeIterator_iterKey( Zet::AttributeId id, Place const& at ) const override {
      Interface key;
      return atMember(
                 id, at,
                 [ & ]( auto const& place ) { key = resultIf( place.at.key(), this->isConst() ); } )
                 ? key
                 : Base::attributeIterator_iterKey( id, at );
   }
   void attributeIterator_iterInc( Zet::AttributeId id, Place& at ) const override {
      if ( !atMember( id, at, []( auto& place ) { ++place.at; } ) )
         Base::attributeIterator_iterInc( id, at );
   }
   Zet::Ptr< Place > attributeIterator_iterClone( Zet::AttributeId id,
                                                  Place const& at ) const override {
      Zet::Ptr< Place > clone;
      return atPlace( id, at,
                      [ & ]< class P >( P const& place ) {
                         clone = newPlace< typename P::Row >( place.at );
                      } )
                 ? clone
                 : Base::attributeIterator_iterClone( id, at );
   }
   bool attributeIterator_nonNull( Zet::AttributeId id, Place const& at ) const override {
      bool nonNull = false;
      return atPlace( id, at, [ & ]( auto const& place ) { nonNull = bool( place.at ); } )
                 ? nonNull
                 : Base::attributeIterator_nonNull( id, at );
   }
   // Removes the member unless it has been removed already. The place stays where it was.
   void attributeIterator_iterDel( Zet::AttributeId id, Place& at ) override {
      this->requireChangeable( Zet::GenericIf::del );
      if ( !atMember( id, at, [ & ]< class P >( P& place ) {
              auto const key = place.at.key();
              if ( ( reflected().*P::Row::members )().find( key ) == place.at.member().get() )
                 ( reflected().*P::Row::del )( key );
           } ) )
         Base::attributeIterator_iterDel( id, at );
   }

 protected:
   T& reflected() const noexcept { return static_cast< T& >( this->object() ); }

 private:
   // A place in the collection of row R.
   template < class R > class PlaceIn : public Place {
    public:
      using Row = R;
      using Iterator = typename R::Map::Iterator;
      PlaceIn( Zet::Ptr< T > owner, Iterator start )
          : owner_( std::move( owner ) ), at( std::move( start ) ) {}
      bool isOf( T const& object ) const noexcept { return owner_.get() == &object; }

    private:
      Zet::Ptr< T > owner_;

    public:
      Iterator at;
   };
   template < class R, class Iterator > Zet::Ptr< Place > newPlace( Iterator at ) const {
      return Zet::make< PlaceIn< R > >( Zet::Ptr< T >( &reflected() ), std::move( at ) );
   }

   // Runs the operation on the row of that id, which is not before `Place`.
   template < std::size_t Place >
   Interface operateFrom( Zet::GenericIf::AttributeOp const& op, InterfaceConst const& key,
                          Interface const& value ) {
      // NOLINTNEXTLINE(bugprone-branch-clone)
      if constexpr ( Place == rows )
         return operateApart< Place >( op, key, value );
      else if ( row< Place >().id != op.attribute )
         return operateFrom< Place + 1 >( op, key, value );
      else if constexpr ( isOfNumber< std::decay_t< decltype( row< Place >() ) > > )
         return operateOn< Place >( op, key, value );
      else
         return operateApart< Place >( op, key, value );
   }
   template < std::size_t Place >
   [[gnu::always_inline]] Interface operateOn( Zet::GenericIf::AttributeOp const& op,
                                               InterfaceConst const& key, Interface const& value ) {
      return operate( reflected(), row< Place >(),
                      Request{ op.operation, key, value, this->isConst(), row< Place >().name } );
   }
   // Does the same in a function of its own. The compiler guards the stack of functions that keep
   // texts there, or call one that returns an object in memory. Operations on numbers need no
   // guard.
   template < std::size_t Place >
   [[gnu::always_inline]] Interface operateApart( Zet::GenericIf::AttributeOp const& op,
                                                  InterfaceConst const& key,
                                                  Interface const& value ) {
      Interface result;
      operateInto< Place >( result, op, key, value );
      return result;
   }
   template < std::size_t Place >
   [[gnu::noinline]] void operateInto( Interface& result, Zet::GenericIf::AttributeOp const& op,
                                       InterfaceConst const& key, Interface const& value ) {
      if constexpr ( Place == rows )
         result = Base::attributeOp( op, key, value );
      else
         result = operateOn< Place >( op, key, value );
   }

   static constexpr std::size_t rows =
       std::tuple_size_v< std::decay_t< decltype( reflectedRows< T > ) > >;
   template < std::size_t Place > static constexpr auto const& row() {
      return std::get< Place >( reflectedRows< T > );
   }

   // Visits the row of that id, if there is one.
   template < class Visit > static bool atRow( Zet::AttributeId id, Visit visit ) {
      return std::apply(
          [ & ]( auto const&... row ) {
             return ( ( row.id == id && ( visit( row ), true ) ) || ... );
          },
          reflectedRows< T > );
   }
   template < class Visit > static bool atCollection( Zet::AttributeId id, Visit visit ) {
      bool isOne = false;
      atRow( id, [ & ]< class R >( R const& row ) {
         if constexpr ( isCollection< R > ) {
            isOne = true;
            visit( row );
         }
      } );
      return isOne;
   }
   // Visits the place in the collection of that id. Returns false when the id is no collection.
   template < class P, class Visit > bool atPlace( Zet::AttributeId id, P& at, Visit visit ) const {
      return atCollection( id, [ & ]< class R >( R const& row ) {
         using In = std::conditional_t< std::is_const_v< P >, PlaceIn< R > const, PlaceIn< R > >;
         auto* const place = dynamic_cast< In* >( &at );
         if ( !place || !place->isOf( reflected() ) )
            throwBadIndex( row.name );
         visit( *place );
      } );
   }
   // Does the same for a place at a member.
   template < class P, class Visit >
   bool atMember( Zet::AttributeId id, P& at, Visit visit ) const {
      return atPlace( id, at, [ & ]( auto& place ) {
         if ( !place.at )
            throwBadIndex( attributeString( id ).view() );
         visit( place );
      } );
   }
};

// The generic interface of a state machine.
template < class T > using ReflectedMachineIf = ReflectedIf< T, Zet::GenericIfPtrInterface >;

} // namespace Reflect
