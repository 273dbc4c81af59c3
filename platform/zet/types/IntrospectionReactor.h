#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/types/ZetAttr.h"

#include <vector>

namespace Zet {

// Hears of the types of a library's units when they are loaded. This one stores the name spaces
// and, in the descriptors, their attributes.
class ZET_EXPORT IntrospectionReactor : public PtrInterface {
 public:
   struct NameSpace {
      Name name;
      std::vector< Ptr< ZetType const > > types;
   };

   static Ptr< IntrospectionReactor > const& global();
   // Replaces the global reactor. Null restores the first one.
   static void globalIs( Ptr< IntrospectionReactor > reactor );

   // Returns true if units may register now. A unit that finds the reactor not ready tries again
   // later.
   virtual bool isReady() const;

   // Opens a name space. Name spaces of the same name are one.
   virtual void handleNameSpace( char const* name );
   // Opens a type of the open name space.
   virtual void handleType( Ptr< ZetType const > const& type, Ptr< ZetType const > const& base );
   // Defines an attribute of a type and announces it.
   virtual void
   defNoninstantiatingAttr( ZetType& type, Name name, Ptr< ZetType const > const& valueType,
                            Ptr< ZetType const > const& keyType, ZetAttr::AttrFlags const& flags,
                            ZetAttr::ZetAttrIntrospectionFlags introspection, AttributeId id );
   // Announces an attribute with its context: arguments and index attribute.
   virtual void handleAttr( Ptr< ZetAttr > const& attribute );
   virtual void handleAttrContextExit();
   // Closes the type or name space that was opened last.
   virtual void handleScopeExit();

   std::vector< NameSpace > const& nameSpaces() const noexcept { return nameSpaces_; }

 private:
   std::vector< NameSpace > nameSpaces_;
   std::size_t open_ = 0; // The place of the open name space.
};

} // namespace Zet
