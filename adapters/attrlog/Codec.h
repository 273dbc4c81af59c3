#pragma once

#include "adapters/notify/Enumeration.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/attrlog/Demuxer.h"

#include <bit>
#include <cstdint>
#include <type_traits>

namespace Kelnet {

// Writes an interface as its name.
inline Zet::NboAttrLog::Out&
operator<<( Zet::NboAttrLog::Out& out, IntfId id ) {
   return out << id.name();
}

} // namespace Kelnet

namespace AttrLog {

// The wire form of a type V. wire( value ) returns the stored form. read( in ) reads a value
// and throws any exception of the input. An attribute whose type has no Codec cannot be replicated.
// A codec whose stored form is a number, and never malformed, names the Number and makes a value of
// it by of( number ).
template < class V > struct Codec;
template < class V > inline constexpr bool isEncodable = requires {
   sizeof( Codec< V > );
};
// The compiler's error for a type without Codec names its attribute.
namespace Fault {
template < auto Attribute, class Value > struct NoCodecForValue;
}

template < class V > struct AsItIs {
   static V wire( V const& value ) { return value; }
};
// Texts travel as they are. The text is valid until the value goes.
template < class V > struct AsText {
   static std::string_view wire( V const& value ) { return value.view(); }
};

template <> struct Codec< bool > : AsItIs< bool > {
   static bool read( Zet::NboAttrLog::In& in ) { return in.nextbool(); }
};
template <> struct Codec< unsigned int > : AsItIs< unsigned int > {
   using Number = std::uint32_t;
   static unsigned int of( Number number ) { return number; }
   static unsigned int read( Zet::NboAttrLog::In& in ) { return in.nextU32(); }
};
template <> struct Codec< int > : AsItIs< int > {
   using Number = std::uint32_t;
   static int of( Number number ) { return static_cast< int >( number ); }
   static int read( Zet::NboAttrLog::In& in ) { return in.nextS32(); }
};
template <> struct Codec< double > : AsItIs< double > {
   using Number = std::uint64_t;
   static double of( Number number ) { return std::bit_cast< double >( number ); }
   static double read( Zet::NboAttrLog::In& in ) { return in.nextSeconds(); }
};
template <> struct Codec< Zet::String8 > : AsText< Zet::String8 > {
   static Zet::String8 read( Zet::NboAttrLog::In& in ) { return in.nextString(); }
};
template <> struct Codec< Zet::EntityId > : AsItIs< Zet::EntityId > {
   static Zet::EntityId read( Zet::NboAttrLog::In& in ) { return in.nextEntityId(); }
};
template <> struct Codec< Kelnet::IntfId > {
   // Valid until: the process ends.
   static std::string_view wire( Kelnet::IntfId id ) { return id.name().view(); }
   static Kelnet::IntfId read( Zet::NboAttrLog::In& in ) { return Kelnet::IntfId( in.nextText() ); }
};

// An enumeration travels as its number. An unknown number is stored nevertheless, and counted.
template < Notify::Enumeration E > struct Codec< E > {
   using Number = std::uint32_t;
   static E of( Number number ) { return static_cast< E >( number ); }
   static int wire( E value ) { return static_cast< int >( value ); }
   static E read( Zet::NboAttrLog::In& in ) { return static_cast< E >( in.nextU32() ); }
   static bool isKnown( E value ) {
      return Notify::isEnumerator< E >( static_cast< std::uint32_t >( value ) );
   }
};

// Counts the value if its number is unknown here.
template < class V >
void
countIfUnknown( V const& value, Zet::NboAttrLog::Demuxer& demuxer ) {
   if constexpr ( requires { Codec< V >::isKnown( value ); } )
      if ( !Codec< V >::isKnown( value ) )
         demuxer.unknownEnumsInc( 1 );
}

} // namespace AttrLog
