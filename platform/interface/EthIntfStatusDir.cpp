#include "platform/interface/EthIntfStatusDir.h"

namespace Interface {

namespace {

constexpr auto attribute = Notify::reader( &EthIntfStatusDir::intfStatus );

} // namespace

EthIntfStatusDir::~EthIntfStatusDir() {
   for ( auto at = intfStatus_.iteratorConst(); at; ++at )
      at->parentIs( nullptr );
   notifiees_.deleteAll();
}

Zet::Ptr< EthIntfStatusDir >
EthIntfStatusDir::EthIntfStatusDirIs( Zet::Name name ) {
   return Zet::make< EthIntfStatusDir >( std::move( name ) );
}

Zet::Ptr< EthIntfStatus >
EthIntfStatusDir::intfStatusIs( Kelnet::IntfId intfId ) {
   if ( EthIntfStatus* const status = intfStatus_.find( intfId ) )
      return status;
   Zet::Ptr< EthIntfStatus > const status = EthIntfStatus::EthIntfStatusIs( intfId );
   intfStatusIs( status );
   return status;
}

void
EthIntfStatusDir::intfStatusIs( Zet::Ptr< EthIntfStatus > const& status ) {
   Kelnet::IntfId const intfId = status->intfId();
   if ( status == intfStatus_.find( intfId ) )
      return;
   // Held to the end: an observer of its going may add an interface of that name.
   Zet::Ptr< EthIntfStatus > const replaced = intfStatus_.take( intfId );
   if ( replaced )
      replaced->parentIs( nullptr );
   intfStatus_.newMember( *this, Notify::rowOf< EthIntfStatusDir, attribute >().id, status );
   notify< attribute >( intfId );
}

Zet::Ptr< EthIntfStatus >
EthIntfStatusDir::intfStatusDel( Kelnet::IntfId intfId ) {
   return intfStatus_.del( *this, intfId );
}

void
EthIntfStatusDir::intfStatusNotify( Kelnet::IntfId intfId,
                                    Zet::Ptr< EthIntfStatus > const& status ) {
   status->parentIs( nullptr );
   notify< attribute >( intfId );
}

} // namespace Interface
