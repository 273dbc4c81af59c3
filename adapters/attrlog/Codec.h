#pragma once

#include "platform/kelnet/IntfId.h"
#include "platform/zet/Expect.h"
#include "platform/zet/attrlog/Demuxer.h"

#include <type_traits>

namespace Kelnet {

// An interface travels as its name.
inline Zet::NboAttrLog::Out&
operator<<( Zet::NboAttrLog::Out& out, IntfId id ) {
   return out << id.name();
}

} // namespace Kelnet

namespace AttrLog {

// How a value of type V travels: write( out, value ) and read( in ), which throws what the input
// throws. A type without one cannot be an attribute that is replicated.
template < class V > struct Codec;

template < class V > struct Written {
   static void write( Zet::NboAttrLog::Out& out, V const& value ) { out << value; }
};

template <> struct Codec< bool > : Written< bool > {
   static bool read( Zet::NboAttrLog::In& in ) { return in.nextbool(); }
};
template <> struct Codec< unsigned int > : Written< unsigned int > {
   static unsigned int read( Zet::NboAttrLog::In& in ) { return in.nextU32(); }
};
template <> struct Codec< int > : Written< int > {
   static int read( Zet::NboAttrLog::In& in ) { return in.nextS32(); }
};
template <> struct Codec< double > : Written< double > {
   static double read( Zet::NboAttrLog::In& in ) { return in.nextSeconds(); }
};
template <> struct Codec< Zet::String8 > : Written< Zet::String8 > {
   static Zet::String8 read( Zet::NboAttrLog::In& in ) { return in.nextString(); }
};
template <> struct Codec< Zet::EntityId > : Written< Zet::EntityId > {
   static Zet::EntityId read( Zet::NboAttrLog::In& in ) { return in.nextEntityId(); }
};
template <> struct Codec< Kelnet::IntfId > : Written< Kelnet::IntfId > {
   static Kelnet::IntfId read( Zet::NboAttrLog::In& in ) { return Kelnet::IntfId( in.nextText() ); }
};

// An enumeration travels as its number. `Instance` makes a value of a number, or throws the range
// exception for one that is unknown; such a number is kept all the same, and counted.
template < class E, E ( *Instance )( unsigned int ) > struct EnumCodec {
   static void write( Zet::NboAttrLog::Out& out, E value ) { out << static_cast< int >( value ); }
   static E read( Zet::NboAttrLog::In& in ) { return static_cast< E >( in.nextU32() ); }
   static bool isKnown( E value ) {
      try {
         Zet::Expect const expect( Zet::RangeException::id );
         Instance( static_cast< unsigned int >( value ) );
         return true;
      } catch ( Zet::RangeException const& ) {
         return false;
      }
   }
};

// Counts the value when it is one that is unknown here.
template < class V >
void
countIfUnknown( V const& value, Zet::NboAttrLog::Demuxer& demuxer ) {
   if constexpr ( requires { Codec< V >::isKnown( value ); } )
      if ( !Codec< V >::isKnown( value ) )
         demuxer.unknownEnumsInc( 1 );
}

} // namespace AttrLog
