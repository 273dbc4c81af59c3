#include "agent/reflected/Reflected.h"

#include "agent/reflected/AttributeKind.h"
#include "platform/zet/generic/ValueIf.h"

#include <vector>

namespace Ufdd {

namespace {

using Zet::GenericIf;
using Object = Zet::Ptr< GenericIf >;

// The configuration of `object` that has that kind.
template < class Action >
void
forEach( GenericIf const& object, AttributeKind kind, Action action ) {
   for ( auto const& attribute : object.zetType()->attributes() )
      if ( isConfiguration( *attribute ) && attributeKind( *attribute ) == kind )
         action( attribute->id() );
}

// Calls action( key, value ) for each member, which it may remove.
template < class Action >
void
forEachMember( GenericIf const& object, Zet::AttributeId id, Action action ) {
   std::vector< std::pair< Object, Object > > members;
   for ( auto const at = object.attributeIteratorConst( id );
         object.attributeIterator_nonNull( id, *at ); object.attributeIterator_iterInc( id, *at ) )
      members.emplace_back( object.attributeIterator_iterKey( id, *at ),
                            object.attributeIterator_iterObj( id, *at ) );
   for ( auto const& [ key, value ] : members )
      action( key, value );
}

void
addMembers( GenericIf& from, GenericIf& to ) {
   forEach( from, AttributeKind::valueCollection, [ & ]( Zet::AttributeId id ) {
      forEachMember( from, id, [ & ]( Object const& key, Object const& value ) {
         to.attributeOp( { id, GenericIf::set }, key, value );
      } );
   } );
}

void
removeMembers( GenericIf& from, GenericIf& to ) {
   forEach( from, AttributeKind::valueCollection, [ & ]( Zet::AttributeId id ) {
      forEachMember( to, id, [ & ]( Object const& key, Object const& ) {
         if ( !Zet::valueOf< bool >( from.attributeOp( { id, GenericIf::has }, key, nullptr ),
                                     "has" ) )
            to.attributeOp( { id, GenericIf::del }, key, nullptr );
      } );
   } );
}

void
setScalars( GenericIf& from, GenericIf& to ) {
   forEach( from, AttributeKind::scalar, [ & ]( Zet::AttributeId id ) {
      to.attributeOp( { id, GenericIf::set }, nullptr,
                      from.attributeOp( { id, GenericIf::get }, nullptr, nullptr ) );
   } );
}

// As a text, of which two are the same when the configurations are.
std::string
configurationText( GenericIf& object ) {
   std::string text = scalarsText( object );
   forEach( object, AttributeKind::valueCollection, [ & ]( Zet::AttributeId id ) {
      text += '\n' + std::to_string( id );
      forEachMember( object, id, [ & ]( Object const& key, Object const& value ) {
         text += ' ' + std::string( key->strRep().view() ) + ' ' +
                 std::string( value->strRep().view() );
      } );
   } );
   return text;
}

} // namespace

bool
isConfiguredAlike( GenericIf& left, GenericIf& right ) {
   return configurationText( left ) == configurationText( right );
}

void
copyConfiguration( GenericIf& from, GenericIf& to, CopyOrder order ) {
   auto* const first = order == CopyOrder::addFirst ? addMembers : removeMembers;
   auto* const last = order == CopyOrder::addFirst ? removeMembers : addMembers;
   first( from, to );
   setScalars( from, to );
   last( from, to );
}

std::string
scalarsText( GenericIf& object ) {
   std::string text;
   forEach( object, AttributeKind::scalar, [ & ]( Zet::AttributeId id ) {
      Object const value = object.attributeOp( { id, GenericIf::get }, nullptr, nullptr );
      text += ( text.empty() ? "" : ", " ) + std::string( object.attributeString( id ).view() ) +
              ' ' + std::string( value->strRep().view() );
   } );
   return text;
}

} // namespace Ufdd
