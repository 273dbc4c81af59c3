#include "bench/Frame.h"
#include "sm/Root.h"

#include <ctime>
#include <malloc.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

// What a group costs when there are many: the same at every size, or the cost of the whole grows
// faster than the whole does.
namespace {

using namespace UplinkFailureDetection;
using Interface::OperStatus;

// In seconds. Of this process alone: a busy machine changes it little.
double
processorTime() {
   timespec time{};
   clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time );
   return static_cast< double >( time.tv_sec ) + static_cast< double >( time.tv_nsec ) * 1e-9;
}

double
bytesInUse() {
   auto const use = mallinfo2();
   return static_cast< double >( use.uordblks + use.hblkhd );
}

// Groups with eight uplinks, which they share, and eight downstream interfaces of their own.
class Groups {
 public:
   explicit Groups( std::size_t count ) : count_( count ) {
      for ( int i = 0; i < 8; ++i )
         dir_->intfStatusIs( uplink( i ) )->operStatusIs( OperStatus::up );
      int port = 0;
      for ( std::size_t number = 0; number < count; ++number ) {
         auto const group = config_->groupIs( "group" + std::to_string( number ) );
         group->minLinksIs( 8 );
         for ( int i = 0; i < 8; ++i ) {
            group->intfsToMonitorIs( uplink( i ), true );
            group->intfsToDisableIs( Kelnet::IntfId( "port" + std::to_string( port++ ) ), true );
         }
      }
   }

   void start() { root_->uplinkFailureDetectionSmIs( config_, status_, cause_, dir_ ); }
   void stop() { root_->uplinkFailureDetectionSmDel(); }
   // Of an interface that no group has to do with.
   void add() { dir_->intfStatusIs( Kelnet::IntfId( "other" ) ); }
   void remove() { dir_->intfStatusDel( Kelnet::IntfId( "other" ) ); }
   void down() { dir_->intfStatus( uplink( 0 ) )->operStatusIs( OperStatus::down ); }
   void up() { dir_->intfStatus( uplink( 0 ) )->operStatusIs( OperStatus::up ); }
   void removeGroups() { config_->groupDelAll(); }

   // Checks that as many groups are in that state.
   void expect( GroupLinkStatus wanted, std::size_t count ) const {
      std::size_t found = 0;
      for ( auto at = status_->groupIteratorConst(); at; ++at )
         found += at->groupLinkStatus() == wanted;
      Bench::check( found == count, "not all of the groups are as they should be" );
   }
   void expectAll( GroupLinkStatus wanted ) const { expect( wanted, count_ ); }

 private:
   static Kelnet::IntfId uplink( int number ) {
      return Kelnet::IntfId( "uplink" + std::to_string( number ) );
   }

   std::size_t const count_;
   Zet::Ptr< Config > const config_ = configFactory( "config" );
   Zet::Ptr< Status > const status_ = statusFactory( "status" );
   Zet::Ptr< Errdisable::CauseStatus > const cause_ =
       Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Zet::Ptr< Interface::EthIntfStatusDir > const dir_ =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< Root > const root_ = rootFactory( "root" );
};

struct Measured {
   double seconds = 0;
   double bytes = 0;
};

// Measures in a process of its own, for what was there before leaves its marks on the heap.
template < class Measure >
Measured
isolated( Measure measure ) {
   void* const shared = mmap( nullptr, sizeof( Measured ), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
   Bench::check( shared != MAP_FAILED, "there is no memory to share" );
   pid_t const child = fork();
   if ( child == 0 ) {
      new ( shared ) Measured( measure() );
      _exit( EXIT_SUCCESS );
   }
   int status = -1;
   Bench::check( waitpid( child, &status, 0 ) == child && status == 0, "a measurement has failed" );
   Measured const result = *static_cast< Measured const* >( shared );
   munmap( shared, sizeof( Measured ) );
   return result;
}

using Act = void ( Groups::* )();

double
secondsOf( Groups& groups, Act act ) {
   double const start = processorTime();
   ( groups.*act )();
   return processorTime() - start;
}

// Starts groups, and weighs them with their configuration and status.
Measured
building( std::size_t size ) {
   double const before = bytesInUse();
   Groups groups( size );
   double const seconds = secondsOf( groups, &Groups::start );
   groups.expectAll( GroupLinkStatus::up );
   return { seconds, ( bytesInUse() - before ) / static_cast< double >( size ) };
}

// Acts on groups that run, for the second time.
Measured
acting( std::size_t size, Act act, Act undo, GroupLinkStatus outcome ) {
   Groups groups( size );
   groups.start();
   ( groups.*act )();
   ( groups.*undo )();
   groups.expectAll( GroupLinkStatus::up );
   double const seconds = secondsOf( groups, act );
   groups.expectAll( outcome );
   return { seconds };
}

Measured
ending( std::size_t size, Act act, std::size_t left ) {
   Groups groups( size );
   groups.start();
   double const seconds = secondsOf( groups, act );
   groups.expect( GroupLinkStatus::up, left );
   return { seconds };
}

// At a size as ours, and at a tenth of it as our own peer; as many groups in all.
template < class Measure >
void
sizes( std::string const& name, Measure measure ) {
   auto const add = [ & ]( char const* peer, std::size_t size, std::size_t as ) {
      auto const run = [ = ]( benchmark::State& state ) {
         Measured last;
         for ( auto _ : state ) {
            last = isolated( [ & ] { return measure( size ); } );
            state.SetIterationTime( last.seconds );
         }
         if ( last.bytes > 0 )
            Bench::bytes( state, last.bytes );
         Bench::each( state, size );
      };
      Bench::add( peer, name + "-" + std::to_string( as ), run )
          ->UseManualTime()
          ->Iterations( static_cast< benchmark::IterationCount >( 10000 / size ) );
   };
   for ( std::size_t const size : { 1000u, 10000u } ) {
      add( "ours", size, size );
      add( "self", size / 10, size );
   }
}

} // namespace

void
Bench::benchmarks() {
   sizes( "build", building );
   sizes( "add", []( std::size_t size ) {
      return acting( size, &Groups::add, &Groups::remove, GroupLinkStatus::up );
   } );
   sizes( "down", []( std::size_t size ) {
      return acting( size, &Groups::down, &Groups::up, GroupLinkStatus::down );
   } );
   sizes( "teardown", []( std::size_t size ) { return ending( size, &Groups::stop, size ); } );
   sizes( "remove", []( std::size_t size ) { return ending( size, &Groups::removeGroups, 0 ); } );
}
