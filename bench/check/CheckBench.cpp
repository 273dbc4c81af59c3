#include "bench/Frame.h"
#include "platform/zet/Clock.h"
#include "sm/UplinkFailureDetectionGroupSm.h"

#include <absl/container/flat_hash_map.h>
#include <string>
#include <vector>

// A group with as many downstream as monitored interfaces is checked, in a directory of more.
namespace {

using namespace UplinkFailureDetection;
using Interface::OperStatus;

constexpr std::size_t interfaces = 1024;

std::vector< Kelnet::IntfId >
ids() {
   std::vector< Kelnet::IntfId > result;
   for ( std::size_t i = 0; i < interfaces; ++i )
      result.emplace_back( "Ethernet" + std::to_string( i / 64 + 1 ) + "/" +
                           std::to_string( i % 64 + 1 ) );
   return result;
}

// The group machine, which is told of what happens.
class Ours {
 public:
   Ours( std::vector< Kelnet::IntfId > const& all, std::size_t size ) {
      for ( Kelnet::IntfId const id : all )
         dir_->intfStatusIs( id )->operStatusIs( OperStatus::up );
      for ( std::size_t i = 0; i < size; ++i ) {
         config_->intfsToMonitorIs( all[ i ], true );
         config_->intfsToDisableIs( all[ interfaces - 1 - i ], true );
      }
      config_->minLinksIs( static_cast< unsigned int >( size ) );
      first_ = dir_->intfStatus( all.front() );
      sm_ = Zet::make< UplinkFailureDetectionGroupSm >( config_, status_, dir_, cause_ );
   }
   void linkIs( bool up ) { first_->operStatusIs( up ? OperStatus::up : OperStatus::down ); }
   void check() { sm_->doCheckIntfs(); }
   bool down() const { return status_->groupLinkStatus() == GroupLinkStatus::down; }
   std::size_t disabled() const {
      std::size_t count = 0;
      for ( auto at = cause_->intfStatusIteratorConst(); at; ++at )
         ++count;
      return count;
   }

 private:
   Zet::Ptr< GroupConfig > const config_ = GroupConfig::GroupConfigIs( "group" );
   Zet::Ptr< GroupStatus > const status_ = GroupStatus::GroupStatusIs( "group" );
   Zet::Ptr< Interface::EthIntfStatusDir > const dir_ =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< Errdisable::CauseStatus > const cause_ =
       Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Interface::EthIntfStatus* first_ = nullptr;
   Zet::Ptr< UplinkFailureDetectionGroupSm > sm_;
};

// The same recount over plain tables. Nobody can watch them: it has nobody to tell, and none
// that could change them meanwhile.
class ByHand {
   using Id = std::uint32_t;

 public:
   ByHand( std::vector< Kelnet::IntfId > const& all, std::size_t size )
       : minLinks_( size ), first_( all.front().value() ) {
      for ( Kelnet::IntfId const id : all )
         dir_[ id.value() ] = OperStatus::up;
      for ( std::size_t i = 0; i < size; ++i ) {
         monitored_[ all[ i ].value() ] = true;
         downstream_[ all[ interfaces - 1 - i ].value() ] = true;
      }
   }
   void linkIs( bool up ) {
      auto& status = dir_[ first_ ];
      auto const wanted = up ? OperStatus::up : OperStatus::down;
      if ( status == wanted )
         return;
      status = wanted;
      check();
   }
   void check() {
      std::size_t up = 0;
      for ( auto const& [ id, flag ] : monitored_ ) {
         auto const found = dir_.find( id );
         up += found != dir_.end() && found->second == OperStatus::up;
      }
      if ( up < minLinks_ )
         disable();
      else
         enable();
   }
   bool down() const { return down_; }
   std::size_t disabled() const { return cause_.size(); }

 private:
   void disable() {
      double const time = Zet::now();
      for ( auto const& [ id, flag ] : downstream_ )
         cause_.try_emplace( id, time );
      if ( down_ )
         return;
      down_ = true;
      ++timesDisabled_;
      lastDisabled_ = time;
   }
   void enable() {
      for ( auto const& [ id, flag ] : downstream_ )
         cause_.erase( id );
      down_ = false;
   }

   absl::flat_hash_map< Id, OperStatus > dir_;
   absl::flat_hash_map< Id, bool > monitored_;
   absl::flat_hash_map< Id, bool > downstream_;
   absl::flat_hash_map< Id, double > cause_;
   std::size_t const minLinks_;
   Id const first_;
   bool down_ = false;
   unsigned int timesDisabled_ = 0;
   double lastDisabled_ = 0;
};

template < class Group >
void
still( benchmark::State& state, std::size_t size, bool down ) {
   Group group( ids(), size );
   group.linkIs( !down );
   for ( auto _ : state ) {
      group.check();
      benchmark::ClobberMemory();
   }
   Bench::check( group.down() == down && group.disabled() == ( down ? size : 0 ),
                 "a group that is still has changed" );
   Bench::each( state, size );
}

// Down and up: two checks.
template < class Group >
void
change( benchmark::State& state, std::size_t size ) {
   Group group( ids(), size );
   for ( auto _ : state ) {
      group.linkIs( false );
      Bench::check( group.down() && group.disabled() == size, "a group has not gone down" );
      group.linkIs( true );
   }
   Bench::check( !group.down() && group.disabled() == 0, "a group has not come up" );
   Bench::each( state, 2 * size );
}

template < class Group >
void
addGroup( char const* peer ) {
   for ( std::size_t const size : { 4u, 64u, 512u } ) {
      std::string const number = std::to_string( size );
      Bench::add( peer, "still-" + number,
                  [ = ]( auto& state ) { still< Group >( state, size, false ); } );
      Bench::add( peer, "still-down-" + number,
                  [ = ]( auto& state ) { still< Group >( state, size, true ); } );
      Bench::add( peer, "change-" + number,
                  [ = ]( auto& state ) { change< Group >( state, size ); } );
   }
}

} // namespace

void
Bench::benchmarks() {
   addGroup< Ours >( "ours" );
   addGroup< ByHand >( "by-hand" );
}
