#include "platform/zet/generic/GenericIf.h"

#include <algorithm>
#include <utility>

namespace Zet {

GenericIf::Watcher::~Watcher() = default;

Ptr< PtrInterface >
GenericIf::zetObject( ZetType const& ) const {
   throwGenericIfException( GenericIfException::type, zetType()->name() );
}

String8
GenericIf::attributeString( AttributeId id ) const {
   return "unknown attribute " + String8( std::to_string( id ) );
}

AttributeId
GenericIf::attributeId( String8 name ) const {
   throwGenericIfException( GenericIfException::unknownAttribute, std::move( name ) );
}

Ptr< GenericIf >
GenericIf::attributeOp( AttributeOp const&, Ptr< GenericIf const > const&,
                        Ptr< GenericIf > const& ) {
   throwGenericIfException( GenericIfException::unknownAttribute, zetType()->name() );
}

String8
GenericIf::strRep() const {
   return zetType()->name();
}

void
GenericIf::zetDoZombieReactors( bool zombie ) {
   zetMarkedForDeletionIs( zombie );
}

namespace {

[[noreturn]] void
throwNoCollection( GenericIf const& reflected, AttributeId id ) {
   throwGenericIfException( GenericIfException::opNotSupported, reflected.attributeString( id ) );
}

} // namespace

Ptr< GenericIf::Place >
GenericIf::attributeIteratorConst( AttributeId id ) const {
   throwNoCollection( *this, id );
}

Ptr< GenericIf::Place >
GenericIf::attributeIteratorKeyConst( AttributeId id, Ptr< GenericIf const > const& ) const {
   throwNoCollection( *this, id );
}

Ptr< GenericIf >
GenericIf::attributeIterator_iterObj( AttributeId id, Place const& ) const {
   throwNoCollection( *this, id );
}

void
GenericIf::attributeIterator_iterInc( AttributeId id, Place& ) const {
   throwNoCollection( *this, id );
}

Ptr< GenericIf >
GenericIf::attributeIterator_iterKey( AttributeId id, Place const& ) const {
   throwNoCollection( *this, id );
}

Ptr< GenericIf::Place >
GenericIf::attributeIterator_iterClone( AttributeId id, Place const& ) const {
   throwNoCollection( *this, id );
}

bool
GenericIf::attributeIterator_nonNull( AttributeId id, Place const& ) const {
   throwNoCollection( *this, id );
}

void
GenericIf::attributeIterator_iterDel( AttributeId id, Place& ) {
   throwNoCollection( *this, id );
}

AttributeId
GenericIf::zetAttributeId( std::string_view name ) const {
   return attributeId( String8( name ) );
}

void
GenericIf::TellingDelete::operator()( Telling* telling ) const noexcept {
   delete telling;
}

GenericIf::Telling&
GenericIf::telling() {
   if ( !telling_ )
      telling_.reset( new Telling );
   return *telling_;
}

template < class Tell >
void
GenericIf::tellWatchers( AttributeId id, Tell tell ) {
   // Watchers may be added and removed during these calls, and may drop the interface.
   Ptr< GenericIf > const self( this );
   for ( Watcher* const watcher : std::vector( telling_->watchers ) )
      try {
         if ( std::ranges::count( telling_->watchers, watcher ) != 0 )
            tell( *watcher );
      } catch ( ... ) {
         onNotificationException( id );
      }
}

void
GenericIf::watcherIs( Watcher& watcher ) {
   telling().watchers.push_back( &watcher );
}

void
GenericIf::watcherDel( Watcher& watcher ) {
   std::erase( telling().watchers, &watcher );
}

bool
GenericIf::zetOnAttribute( AttributeId id, unsigned int& pending ) {
   ++pending;
   if ( !isDeferring_ )
      return false;
   auto& ids = telling().pending;
   if ( std::find( ids.begin(), ids.end(), id ) == ids.end() )
      ids.push_back( id );
   return true;
}

void
GenericIf::onAttribute( AttributeId id ) {
   if ( telling_ )
      tellWatchers( id, [ & ]( Watcher& watcher ) { watcher.onAttribute( id ); } );
}

void
GenericIf::onAttributeAt( AttributeId id, Ptr< GenericIf > const& key ) {
   if ( telling_ )
      tellWatchers( id, [ & ]( Watcher& watcher ) { watcher.onAttributeAt( id, key ); } );
}

void
GenericIf::handleNotification( ActivityConfig* ) {
   if ( !telling_ )
      return;
   // A watcher may drop the interface.
   Ptr< GenericIf > const self( this );
   auto& pending = telling_->pending;
   if ( std::ranges::count( pending, allAttributesId ) != 0 )
      pending = { allAttributesId };
   // Notifications that become pending meanwhile wait for the next call.
   for ( std::size_t due = pending.size(); due != 0 && !pending.empty(); --due ) {
      AttributeId const id = pending.front();
      pending.erase( pending.begin() );
      handlePending( id );
   }
}

void
GenericIf::handlePending( AttributeId ) {}

Ptr< ZetType const >
GenericIf::List_::_fwkType() {
   static ZetType const& type = ZetType::ZetTypeIs( "Zet::GenericIf", "List", nullptr );
   return &type;
}

Ptr< ZetType const >
GenericIf::List_::zetType() const {
   return _fwkType();
}

Ptr< GenericIf >
GenericIf::List_::element( Name const& name ) const noexcept {
   for ( Element const& element : elements_ )
      if ( element.name == name )
         return element.value;
   return nullptr;
}

GenericIf::List_&
GenericIf::List_::elementIs( Name name, Ptr< GenericIf > value ) {
   elements_.push_back( { std::move( name ), std::move( value ) } );
   return *this;
}

GenericIf::List_ const&
argumentList( Ptr< GenericIf const > const& list, std::size_t most, std::string_view function ) {
   if ( !list )
      throwWrongType( "Zet::GenericIf::List_" );
   auto const* const arguments = dynamic_cast< GenericIf::List_ const* >( list.get() );
   if ( !arguments )
      throwWrongType( "List" );
   if ( arguments->elements().size() > most )
      throwGenericIfException( GenericIfException::unknownArgument, function );
   return *arguments;
}

} // namespace Zet
