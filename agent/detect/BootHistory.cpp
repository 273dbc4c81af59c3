#include "agent/detect/BootHistory.h"

#include "host/Observing.h"
#include "platform/zet/Clock.h"

#include <system_error>
#include <utility>

namespace Ufdd {

class BootHistory::DirectoryObserver final : public Interface::EthIntfStatusDir::NotifieeConst {
 public:
   explicit DirectoryObserver( BootHistory& owner ) : owner_( owner ) {}
   void onIntfStatus( Kelnet::IntfId interface ) override { owner_.handleExists( interface ); }

 private:
   BootHistory& owner_;
};

BootHistory::BootHistory( BootStore& store,
                          Zet::Ptr< Interface::EthIntfStatusDir const > const& directory )
    : store_( store ), directory_( *directory ),
      observer_( UplinkFailureDetection::observing< DirectoryObserver >( directory, *this ) ) {}

BootHistory::~BootHistory() = default;

void
BootHistory::recall() {
   std::optional< BootRecord > recalled = store_.recall();
   // Written again in any case, so that checkRecord() notices a loss.
   isNew_ = true;
   record_ = std::move( recalled ).value_or( BootRecord{ Zet::now(), {}, {}, {}, {} } );
}

void
BootHistory::handleExists( Kelnet::IntfId interface ) {
   if ( directory_.intfStatus( interface ) )
      isNew_ |= record_.interfaces.emplace( interface.name().view() ).second;
}

void
BootHistory::handleUp( Zet::Name const& group ) {
   isNew_ |= record_.groups.emplace( group.view() ).second;
}

void
BootHistory::hasFallenIs( Zet::Name const& group, bool hasFallen ) {
   if ( hasFallen == this->hasFallen( group ) )
      return;
   isNew_ = true;
   if ( hasFallen )
      record_.fallen.emplace( group.view() );
   else
      record_.fallen.erase( record_.fallen.find( group.view() ) );
}

void
BootHistory::keepFallen( std::set< Zet::Name > const& groups ) {
   isNew_ |= std::erase_if( record_.fallen, [ & ]( std::string const& name ) {
                return !groups.contains( Zet::Name( name ) );
             } ) > 0;
}

std::optional< bool >
BootHistory::verdictOf( std::string_view check ) const {
   auto const at = record_.checks.find( check );
   return at == record_.checks.end() ? std::nullopt : std::optional( at->second );
}

void
BootHistory::verdictIs( std::string_view check, bool isUp ) {
   if ( verdictOf( check ) == isUp )
      return;
   isNew_ = true;
   record_.checks.insert_or_assign( std::string( check ), isUp );
}

std::string
BootHistory::remember() {
   if ( !isNew_ || ( retryAt_ != never && Zet::now() < retryAt_ ) )
      return "";
   int const error = store_.remember( record_ );
   isNew_ = error != 0;
   bool const hadFailed =
       std::exchange( retryAt_, error ? Zet::now() + retrySeconds : never ) != never;
   if ( !error || hadFailed )
      return "";
   return "can't remember in " + store_.place() +
          " which interfaces have existed: " + std::generic_category().message( error ) +
          "; after a restart, ufdd leaves ports as they are whose uplinks are gone";
}

} // namespace Ufdd
