#pragma once

#include "platform/zet/Strep.h"
#include "platform/zet/generic/GenericIf.h"
#include "platform/zet/generic/Reused.h"
#include "platform/zet/generic/TypeOf.h"

#include <sstream>
#include <type_traits>
#include <utility>

namespace Zet {

// Returns the value's text in reflection.
template < class T >
String8
valueText( T const& value ) {
   if constexpr ( requires { valueToStrep( value ); } )
      return valueToStrep( value );
   else if constexpr ( requires { StrepOf< T >::text( value ); } )
      return StrepOf< T >::text( value );
   else {
      std::ostringstream text;
      text << std::boolalpha << value;
      return text.str();
   }
}

// The generic interface of one plain value.
template < class T > class ZET_EXPORT ValueIf : public GenericIf {
 public:
   explicit ValueIf( T value, bool isConst = false )
       : GenericIf( isConst, typeOf< T >(), &value_ ), value_( std::move( value ) ) {}

   // Does the constructor's work on an old interface. Requires: isAsMade().
   void renew( T value, bool isConst ) {
      isConstIs( isConst );
      value_ = std::move( value );
   }

   T const& value() const noexcept { return value_; }

   Ptr< ZetType const > zetType() const override { return TypeOf< T >::type(); }
   String8 strRep() const override { return valueText( value_ ); }

 private:
   T value_;
};

// Returns the value in a generic interface. `name` is the argument's, for the error.
// Throws: GenericIfException `type` when there is no value of type T.
template < class T >
T const&
valueOf( GenericIf const* argument, std::string_view name ) {
   void const* const value = argument ? argument->zetValue( typeOf< T >() ) : nullptr;
   if ( !value ) [[unlikely]]
      throwWrongType( name );
   return *static_cast< T const* >( value );
}
template < class T, class Interface >
T const&
valueOf( Ptr< Interface > const& argument, std::string_view name ) {
   return valueOf< T >( argument.get(), name );
}

template < class T >
[[gnu::always_inline]] inline Ptr< GenericIf >
valueIf( T value, bool isConst = false ) {
   return Reused< ValueIf< T > >::newObject( std::move( value ), isConst );
}

} // namespace Zet
