#pragma once

#include "adapters/attrlog/ConfigLog.h"
#include "adapters/attrlog/StatusLog.h"
#include "tests/support/Entities.h"
#include "tests/support/StateOf.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

namespace Tests {

using Zet::NboAttrLog::Demuxer;
using Bytes = std::vector< unsigned char >;
using LogAdapter = Zet::Entity::ZetNboAttrLogSa;
using Side = Demuxer::Side;
using Transaction = Zet::StreamAdapter::AttrTransactionType;

// Takes one root, which exists already.
struct OneRoot final : Demuxer::Roots {
   explicit OneRoot( Zet::Ptr< Zet::Entity > root ) : entity( std::move( root ) ) {}
   Zet::Ptr< Zet::Entity > root( Zet::TypeId, Zet::Name const& name ) override {
      return name == entity->name() ? entity : nullptr;
   }
   Zet::Ptr< Zet::Entity > entity;
};

// Takes all unsent bytes of the output.
inline Bytes
taken( Demuxer& from ) {
   Bytes bytes;
   while ( from.out()->unsentSize() != 0 ) {
      auto const part = from.out()->unsent();
      bytes.insert( bytes.end(), part.begin(), part.end() );
      from.out()->sentIs( part.size() );
   }
   return bytes;
}

// "00 1a ff".
inline std::string
hex( Bytes const& bytes ) {
   std::string text;
   for ( unsigned char const byte : bytes ) {
      constexpr char digits[] = "0123456789abcdef";
      text += { digits[ byte >> 4 ], digits[ byte & 15 ], ' ' };
   }
   if ( !text.empty() )
      text.pop_back();
   return text;
}

inline Bytes
unhex( std::string_view text ) {
   Bytes bytes;
   int digits = 0;
   unsigned int value = 0;
   for ( char const c : text ) {
      if ( c == ' ' || c == '\n' )
         continue;
      value = value << 4 | static_cast< unsigned int >( c <= '9' ? c - '0' : c - 'a' + 10 );
      if ( ++digits % 2 == 0 )
         bytes.push_back( static_cast< unsigned char >( std::exchange( value, 0 ) ) );
   }
   return bytes;
}

// One end with a root of type E attached to it, as its writer or waiting for its announcement.
template < class E > struct End {
   End( Side side, Zet::Ptr< E > entity, std::size_t capacity = 1 << 16 )
       : root( std::move( entity ) ), roots( root ),
         demuxer( Demuxer::DemuxerIs( side, capacity ) ) {
      demuxer->rootsIs( &roots );
   }
   // Says hello and writes the root.
   Zet::Ptr< LogAdapter > announce( unsigned int flags = 0 ) {
      demuxer->out()->helloIs( Zet::TypeId( root->fwkType()->fullName().view() ) );
      auto const adapter = attach( flags );
      adapter->doSerializeOrphan();
      return adapter;
   }
   Zet::Ptr< LogAdapter > attach( unsigned int flags = 0 ) {
      return root->zetNboAttrLogSaIs( {}, flags, demuxer->out(), nullptr );
   }
   Zet::Ptr< LogAdapter > adapter() { return root->zetNboAttrLogSa( demuxer->out() ); }
   bool receive( Bytes const& bytes ) { return demuxer->in()->receive( bytes ); }
   std::string error() const { return demuxer->in()->error().c_str(); }

   Zet::Ptr< E > root;
   OneRoot roots;
   Zet::Ptr< Demuxer > demuxer;
};

// Moves what the first end has written to the second. Returns true if that was anything.
inline bool
pump( Demuxer& from, Demuxer& to ) {
   from.handleRoom();
   Bytes const bytes = taken( from );
   EXPECT_TRUE( to.in()->receive( bytes ) ) << to.in()->error().c_str();
   return !bytes.empty();
}

template < class E > struct Connection {
   explicit Connection( Zet::Ptr< E > source, Zet::Ptr< E > replica,
                        std::size_t capacity = 1 << 16 )
       : writer( Side::server, std::move( source ), capacity ),
         reader( Side::client, std::move( replica ), capacity ) {
      reader.demuxer->out()->helloIs( Zet::TypeId( "" ) );
      pump( *reader.demuxer, *writer.demuxer );
   }
   // Announces the source and moves everything.
   explicit Connection( Zet::Ptr< E > source, unsigned int flags, std::size_t capacity = 1 << 16 )
       : Connection( source, Zet::make< E >( source->name() ), capacity ) {
      writer.announce( flags );
      moveAll();
   }
   // Returns the bytes that a change of the source puts into the writer's output.
   template < class Change > Bytes written( Change change ) {
      moveAll();
      change( *writer.root );
      return taken( *writer.demuxer );
   }
   // Moves bytes until none are left. Counts the bytes that the reader sends.
   void moveAll() {
      while ( pump( *writer.demuxer, *reader.demuxer ) || echo() ) {
      }
   }
   bool echo() {
      auto const before = reader.demuxer->out()->unsentSize();
      echoed += before;
      return pump( *reader.demuxer, *writer.demuxer );
   }
   End< E > writer;
   End< E > reader;
   // The number of bytes that the reader has written.
   std::size_t echoed = 0;
};

} // namespace Tests
