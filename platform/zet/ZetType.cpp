#include "platform/zet/ZetType.h"

#include "platform/zet/Entity.h"
#include "platform/zet/generic/ObjectIf.h"
#include "platform/zet/generic/ValueIf.h"
#include "platform/zet/types/ZetAttr.h"

#include <algorithm>

namespace Zet {

namespace {

using Types = std::vector< ZetType const* >;

// Returns the descriptors that have a full name. They live for ever, and so does the list.
Types&
typeNodes() {
   static Types& types = *new Types;
   return types;
}

} // namespace

ZetType::ZetType( Name name, Ptr< ZetType const > base )
    : ZetType( name, std::move( base ), name ) {}

ZetType::ZetType( Name name, Ptr< ZetType const > base, Name fullName )
    : name_( std::move( name ) ), fullName_( std::move( fullName ) ), base_( std::move( base ) ) {}

ZetType::~ZetType() = default;

ZetType const&
ZetType::ZetTypeIs( Name nameSpace, Name name, Ptr< ZetType const > const& base ) {
   Name const fullName = nameSpace.empty() ? name : nameSpace + "::" + name;
   auto* const type = new ZetType( std::move( name ), base );
   keep( *type );
   type->typeNodeIs( fullName );
   return *type;
}

void
ZetType::keep( ZetType& type ) {
   type.isNondestructingIs( true );
   if ( type.base_ )
      type.base_->derivedTypes_.emplace_back( &type );
}

bool
ZetType::isA( ZetType const& type ) const noexcept {
   for ( ZetType const* at = this; at; at = at->base_.get() )
      if ( at == &type )
         return true;
   return false;
}

void
ZetType::typeNodeIs( Name fullName ) {
   fullName_ = std::move( fullName );
   Types& types = typeNodes();
   if ( std::find( types.begin(), types.end(), this ) == types.end() )
      types.push_back( this );
}

Ptr< ZetType const >
ZetType::typeNode( Name const& fullName ) {
   for ( ZetType const* type : typeNodes() )
      if ( type->fullName_ == fullName )
         return type;
   return nullptr;
}

void
ZetType::hasGenericIfSupportIs( bool on ) {
   if ( on == hasGenericIfSupport() )
      return;
   flagIs( genericIfBit, on );
   handleGenericIfSupport();
}

void
ZetType::handleGenericIfSupport() {}

Ptr< ZetAttr >
ZetType::attr( Name const& name ) const noexcept {
   std::size_t const place = placeOfAttr( name.view() );
   return place < attributes_.size() ? attributes_[ place ] : nullptr;
}

void
ZetType::attrIs( Ptr< ZetAttr > const& attribute ) {
   attrDel( attribute->name() );
   attributes_.push_back( attribute );
   attributeNames_.push_back( attribute->name().view() );
}

void
ZetType::attrDel( Name const& name ) {
   auto const place = static_cast< std::ptrdiff_t >( placeOfAttr( name.view() ) );
   if ( attributes_.begin() + place == attributes_.end() )
      return;
   attributeNames_.erase( attributeNames_.begin() + place );
   attributes_.erase( attributes_.begin() + place );
}

void
ZetType::valueAttrIs( Ptr< ZetAttr > attribute ) {
   valueAttr_ = std::move( attribute );
}

Ptr< Entity >
ZetType::newEntity( Name name ) const {
   return entityMaker_ ? entityMaker_( std::move( name ) ) : nullptr;
}

Ptr< GenericIf >
ZetType::genericIf( Ptr< PtrInterface > const& object, bool isConst ) const {
   if ( interfaceMaker_ )
      return interfaceMaker_( object, isConst );
   if ( auto const entity = ptrCast< Entity >( object ) )
      return make< GenericIfEntity >( entity, isConst );
   return make< GenericIfPtrInterface >( object, isConst );
}

Ptr< GenericIf >
ZetType::genericIf( Ptr< PtrInterface const > const& object ) const {
   return genericIf( Ptr< PtrInterface >( const_cast< PtrInterface* >( object.get() ) ), true );
}

Ptr< GenericIf >
ZetType::newGenericIf( Ptr< GenericIf const > const& arguments ) const {
   constexpr std::string_view argument = "name";
   GenericIf::List_ const& list = argumentList( arguments, 1, name_.view() );
   Ptr< Entity > const made = newEntity( valueOf< Name >( list.element( argument ), argument ) );
   if ( !made )
      throwGenericIfException( GenericIfException::opNotSupported, name_, GenericIf::set );
   return genericIf( made, false );
}

} // namespace Zet
