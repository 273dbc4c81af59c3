#include "platform/zet/Strep.h"

#include <charconv>
#include <string>
#include <unordered_map>

namespace Zet {

namespace {

bool
isBare( unsigned char byte ) {
   return ( byte >= 'a' && byte <= 'z' ) || ( byte >= 'A' && byte <= 'Z' ) ||
          ( byte >= '0' && byte <= '9' ) || byte == '_' || byte == '-' || byte == '.' ||
          byte == ':' || byte == '/';
}

// The living objects whose text has been given out, by address. The address is never followed.
using Objects = std::unordered_map< std::uintptr_t, PtrInterface* >;

Objects&
namedObjects() {
   // Never destroyed: static objects still ask when the process ends.
   static Objects& objects = *new Objects;
   return objects;
}

std::uintptr_t
addressOf( PtrInterface const* object ) {
   return reinterpret_cast< std::uintptr_t >( object );
}

} // namespace

bool anyRawPtrStrep = false;

String8
valueToStrep( String8 const& value ) {
   std::string text = "'";
   for ( char const byte : value.view() ) {
      if ( byte == '\'' || byte == '\\' )
         text += '\\';
      text += byte;
   }
   return text + "'";
}

String8
sequenceToValue( String8::IteratorConst& at, String8::IteratorConst const& end, String8 const* ) {
   std::string text;
   if ( at == end || *at != '\'' ) {
      for ( ; at != end && isBare( *at ); ++at )
         text += static_cast< char >( *at );
      return text;
   }
   for ( ++at; at != end && *at != '\''; ++at ) {
      if ( *at == '\\' && ++at == end )
         break;
      text += static_cast< char >( *at );
   }
   if ( at == end )
      throwRangeException( "no closing quote in '" + text );
   ++at;
   return text;
}

String8
valueToStrepOfRawPtr( Name const& type, PtrInterface const* object ) {
   if ( !object )
      return type + "(0)";
   // A text reads back as a writable object: its holder could reach the object in the first place.
   namedObjects()[ addressOf( object ) ] = const_cast< PtrInterface* >( object );
   anyRawPtrStrep = true;
   char address[ 2 * sizeof( std::uintptr_t ) ];
   auto const [ end, error ] =
       std::to_chars( address, address + sizeof address, addressOf( object ), 16 );
   return type + "(0x" + std::string_view( address, end ) + ")";
}

Ptr< PtrInterface >
sequenceToValueOfPtr( String8::IteratorConst& at, String8::IteratorConst const& end ) {
   String8 const type = sequenceToValue( at, end, static_cast< String8 const* >( nullptr ) );
   std::string_view const rest( reinterpret_cast< char const* >( at ),
                                static_cast< std::size_t >( end - at ) );
   std::string_view const text = rest.substr( 0, rest.find( ')' ) + 1 );
   if ( text == "(0)" ) {
      at += text.size();
      return nullptr;
   }
   std::uintptr_t address = 0;
   if ( text.starts_with( "(0x" ) ) {
      char const* const last = text.data() + text.size() - 1;
      auto const [ stop, error ] = std::from_chars( text.data() + 3, last, address, 16 );
      auto const found = namedObjects().find( address );
      if ( error == std::errc() && stop == last && found != namedObjects().end() ) {
         at += text.size();
         return found->second;
      }
   }
   cannotConvert( type + ( text.empty() ? rest : text ), "a living object" );
}

void
forgetRawPtrStrep( PtrInterface const* object ) noexcept {
   namedObjects().erase( addressOf( object ) );
   anyRawPtrStrep = !namedObjects().empty();
}

void
throwJunk( std::ptrdiff_t column, String8 const& text ) {
   throwRangeException( "junk at column " + std::to_string( column ) + " deserializing " + text );
}

} // namespace Zet
