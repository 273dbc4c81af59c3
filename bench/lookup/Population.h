#pragma once

#include "platform/kelnet/IntfId.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/PtrInterface.h"

#include <algorithm>
#include <boost/intrusive/unordered_set.hpp>
#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

// What is looked up: members that have the id, or the name, of an interface for a key.
namespace Bench {

struct ById {
   static constexpr char const* prefix = "";
   using Key = Kelnet::IntfId;
   // What takes the place of the key in a peer.
   using Plain = std::uint32_t;
   static Plain plain( Key key ) { return key.value(); }
};

struct ByName {
   static constexpr char const* prefix = "name-";
   using Key = Zet::Name;
   using Plain = std::string;
   static Plain plain( Key const& key ) { return Plain( key.view() ); }
};

// Goes into any of the containers.
template < class By > class Member : public Zet::PtrInterface {
   typename By::Key const key_;

 public:
   explicit Member( typename By::Key key ) : key_( std::move( key ) ), plain( By::plain( key_ ) ) {}
   typename By::Key const& zetKey() const noexcept { return key_; }

   typename By::Plain const plain;
   std::uint32_t const value = 1;
   boost::intrusive::unordered_set_member_hook<> hook;
   Zet::ChainLink< Member > zetChainLink;
};

// Members in the order in which they are inserted, keys in the order in which they are asked for.
// The orders are random, and the members scattered.
template < class By > class Population {
 public:
   explicit Population( std::size_t size ) {
      std::mt19937 random( 11 );
      std::vector< std::unique_ptr< char[] > > between;
      for ( std::size_t i = 0; i < size; ++i ) {
         std::string const port = std::to_string( i / 64 + 1 ) + "/" + std::to_string( i % 64 + 1 );
         typename By::Key const key( "Ethernet" + port );
         members.push_back( Zet::make< Member< By > >( key ) );
         between.emplace_back( new char[ 1 + random() % 100 ] );
         hits.push_back( key );
         misses.push_back( typename By::Key( "Vlan" + port ) );
         places.push_back( i );
      }
      for ( auto* const keys : { &hits, &misses } )
         std::shuffle( keys->begin(), keys->end(), random );
      std::shuffle( members.begin(), members.end(), random );
      std::shuffle( places.begin(), places.end(), random );
      for ( std::size_t i = 0; i < size; ++i ) {
         plainHits.push_back( By::plain( hits[ i ] ) );
         plainMisses.push_back( By::plain( misses[ i ] ) );
      }
   }

   // The one of that size.
   static Population const& of( std::size_t size ) {
      static std::map< std::size_t, Population > populations;
      return populations.try_emplace( size, size ).first->second;
   }

   std::vector< Zet::Ptr< Member< By > > > members;
   std::vector< typename By::Key > hits;
   std::vector< typename By::Key > misses;
   std::vector< typename By::Plain > plainHits;
   std::vector< typename By::Plain > plainMisses;
   // Of the members.
   std::vector< std::size_t > places;
};

} // namespace Bench
