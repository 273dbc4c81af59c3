#pragma once

#include "bench/lookup/Population.h"

#include <absl/container/flat_hash_map.h>
#include <unordered_map>

// The containers that are compared. Each is filled with a population; hits() and misses() are the
// keys to ask it for.
namespace Bench {

template < class B > class Ours {
 public:
   using By = B;
   explicit Ours( Population< By > const& population ) {
      for ( auto const& member : population.members )
         map_.insert( member );
   }
   static auto const& hits( Population< By > const& population ) { return population.hits; }
   static auto const& misses( Population< By > const& population ) { return population.misses; }

   std::size_t count() const { return map_.count(); }
   Member< By > const* find( typename By::Key const& key ) const { return map_.find( key ); }
   template < class Visit > void walk( Visit visit ) const { map_.forEach( visit ); }
   // With iterators that outlast any change.
   template < class Visit > void iterate( Visit visit ) const {
      for ( auto at = map_.begin(); at; ++at )
         visit( *at );
   }

 private:
   Zet::HashMap< Member< By >, typename By::Key > map_;
};

// A map of the plain key to a counted pointer. It has no order, and its iterators end with a
// change.
template < class B, template < class... > class Map > class Mapped {
 public:
   using By = B;
   explicit Mapped( Population< By > const& population ) {
      for ( auto const& member : population.members )
         map_.emplace( member->plain, member );
   }
   static auto const& hits( Population< By > const& population ) { return population.plainHits; }
   static auto const& misses( Population< By > const& population ) {
      return population.plainMisses;
   }

   std::size_t count() const { return map_.size(); }
   Member< By > const* find( typename By::Plain const& key ) const {
      auto const found = map_.find( key );
      return found == map_.end() ? nullptr : found->second.get();
   }
   template < class Visit > void walk( Visit visit ) const {
      for ( auto const& [ key, member ] : map_ )
         visit( *member );
   }
   template < class Visit > void iterate( Visit visit ) const { walk( visit ); }

 private:
   Map< typename By::Plain, Zet::Ptr< Member< By > > > map_;
};

template < class By > using Absl = Mapped< By, absl::flat_hash_map >;
template < class By > using Std = Mapped< By, std::unordered_map >;

// Linked through the members, as ours, without order and without a hold on them.
template < class B > class Intrusive {
   struct PlainOf {
      using type = typename B::Plain;
      type const& operator()( Member< B > const& member ) const { return member.plain; }
   };
   struct Hash {
      std::size_t operator()( std::uint32_t key ) const {
         key = ( key ^ key >> 16 ) * 0x7feb352d;
         key = ( key ^ key >> 15 ) * 0x846ca68b;
         return key ^ key >> 16;
      }
      std::size_t operator()( std::string const& key ) const {
         return std::hash< std::string >()( key );
      }
   };
   using Set = boost::intrusive::unordered_set<
       Member< B >,
       boost::intrusive::member_hook< Member< B >, boost::intrusive::unordered_set_member_hook<>,
                                      &Member< B >::hook >,
       boost::intrusive::key_of_value< PlainOf >, boost::intrusive::hash< Hash >,
       boost::intrusive::power_2_buckets< true > >;
   using Buckets = std::vector< typename Set::bucket_type >;

 public:
   using By = B;
   explicit Intrusive( Population< By > const& population ) {
      for ( auto const& member : population.members ) {
         if ( set_.size() == buckets_.size() ) {
            Buckets more( 2 * buckets_.size() );
            set_.rehash( { more.data(), more.size() } );
            buckets_.swap( more );
         }
         set_.insert( *member );
      }
   }
   ~Intrusive() { set_.clear(); }
   static auto const& hits( Population< By > const& population ) { return population.plainHits; }
   static auto const& misses( Population< By > const& population ) {
      return population.plainMisses;
   }

   std::size_t count() const { return set_.size(); }
   Member< By > const* find( typename By::Plain const& key ) const {
      auto const found = set_.find( key );
      return found == set_.end() ? nullptr : &*found;
   }
   template < class Visit > void walk( Visit visit ) const {
      for ( auto const& member : set_ )
         visit( member );
   }
   template < class Visit > void iterate( Visit visit ) const { walk( visit ); }

 private:
   Buckets buckets_ = Buckets( 8 );
   Set set_{ { buckets_.data(), buckets_.size() } };
};

// What knows each member's place beforehand.
template < class B > class Index {
 public:
   using By = B;
   explicit Index( Population< By > const& population ) {
      for ( auto const& member : population.members )
         members_.push_back( member );
   }
   static auto const& hits( Population< By > const& population ) { return population.places; }

   std::size_t count() const { return members_.size(); }
   Member< By > const* find( std::size_t place ) const { return members_[ place ].get(); }
   template < class Visit > void walk( Visit visit ) const {
      for ( auto const& member : members_ )
         visit( *member );
   }
   template < class Visit > void iterate( Visit visit ) const { walk( visit ); }

 private:
   std::vector< Zet::Ptr< Member< By > > > members_;
};

} // namespace Bench
