#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"

#include <concepts>

namespace Zet {

// String representations: texts from which the value can be read back.

// Returns the text in single quotes, with a backslash before each quote or backslash inside.
ZET_EXPORT String8 valueToStrep( String8 const& value );
// Reads one token, quoted as above or bare (letters, digits and _ - . : /), moves `at` behind it
// and returns it without quotes.
// Throws: RangeException for a quote that is not closed.
ZET_EXPORT String8 sequenceToValue( String8::IteratorConst& at, String8::IteratorConst const& end,
                                    String8 const* );

// Returns "GroupConfig(0x55d0c8a0)", or "GroupConfig(0)" for null. The text can be read back while
// the object lives.
ZET_EXPORT String8 valueToStrepOfRawPtr( Name const& type, PtrInterface const* object );
// Reads such a text and returns the living object that it names, of any type.
// Throws: CannotConvertException when it names none.
ZET_EXPORT Ptr< PtrInterface > sequenceToValueOfPtr( String8::IteratorConst& at,
                                                     String8::IteratorConst const& end );

// Throws RangeException "junk at column %lld deserializing %s".
[[noreturn]] ZET_EXPORT void throwJunk( std::ptrdiff_t column, String8 const& text );

// Returns the text of a pointer, with the short name of T even when the object's type is a derived
// one.
template < std::derived_from< PtrInterface > T >
String8
valueToStrep( T const* object ) {
   return valueToStrepOfRawPtr( T::_fwkType()->name(), object );
}
template < class T >
String8
valueToStrep( Ptr< T > const& object ) {
   return valueToStrep( object.get() );
}

// Specialised for types without a valueToStrep() and a sequenceToValue() of their own: does their
// work as text( value ) and value( at, end ).
template < class T > struct StrepOf;

// Reads one value of type T with the sequenceToValue that belongs to T, or with StrepOf< T >.
template < class T >
T
sequenceToValue( String8::IteratorConst& at, String8::IteratorConst const& end ) {
   if constexpr ( requires { StrepOf< T >::value( at, end ); } )
      return StrepOf< T >::value( at, end );
   else
      return sequenceToValue( at, end, static_cast< T* >( nullptr ) );
}

// Reads a pointer's text and returns the object that it names.
// Throws: CannotConvertException when the object is not a T.
template < class T >
Ptr< T >
sequenceToValue( String8::IteratorConst& at, String8::IteratorConst const& end, Ptr< T >* ) {
   String8::IteratorConst const start = at;
   Ptr< PtrInterface > const object = sequenceToValueOfPtr( at, end );
   Ptr< T > const result = ptrCast< T >( object );
   if ( object && !result )
      cannotConvert( std::string( start, at ), T::_fwkType()->name() );
   return result;
}

// Reads a whole text as a T.
// Throws: RangeException for characters left over; any exception from reading a T.
template < class T >
T
strepToValue( String8 const& text ) {
   String8::IteratorConst at = text.begin();
   T value = sequenceToValue< T >( at, text.end() );
   if ( at != text.end() )
      throwJunk( at - text.begin(), text );
   return value;
}

} // namespace Zet
