#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/types/ZetAttr.h"

#include <vector>

namespace Zet {

// Whom the units of a library tell of their types when they are loaded. This one keeps what it is
// told: the name spaces, and in the descriptors their attributes.
class ZET_EXPORT IntrospectionReactor : public PtrInterface {
 public:
   struct NameSpace {
      Name name;
      std::vector< Ptr< ZetType const > > types;
   };

   static Ptr< IntrospectionReactor > const& global();
   // Puts another in its place; null restores the first.
   static void globalIs( Ptr< IntrospectionReactor > reactor );

   // A unit that finds the reactor not ready registers at a later chance.
   virtual bool isReady() const;

   // Opens a name space. Those of one name are one.
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
   // Closes what was opened last: a type or a name space.
   virtual void handleScopeExit();

   std::vector< NameSpace > const& nameSpaces() const noexcept { return nameSpaces_; }

 private:
   std::vector< NameSpace > nameSpaces_;
   std::size_t open_ = 0; // The open name space's place.
};

} // namespace Zet
