#pragma once

#include "platform/zet/NotifieeConst.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/String8.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/generic/GenericIfException.h"

#include <concepts>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace Zet {

// A value or an object whose type the caller need not know. Attributes are accessed by id, values
// as interfaces.
class ZET_EXPORT GenericIf : public PtrInterface::NotifieeConst {
 public:
   // Operations on an attribute. Operations from 128 on change something.
   enum Operation : unsigned int {
      get = 0,     // The value; of a collection, the member at the key; of a function, its call.
      count = 1,   // Of a collection: how many members it has.
      version = 2, // Of a collection: a number that changes with each change of the collection.
      has = 3,     // Of a collection: true if the key is a member.
      set = 128,   // The value; of a collection of values, the one at the key. Of an instantiating
                   // attribute: makes the member from a list of arguments.
      del = 129,   // Removes the member at the key.
   };
   static constexpr bool modifies( unsigned int operation ) noexcept {
      return operation >= 128 && operation <= 255;
   }

   struct AttributeOp {
      AttributeId attribute;
      unsigned int operation;
   };

   class List_;

   // A place in the members of a collection attribute. Holds the object and the member.
   class ZET_EXPORT Place : public PtrInterface {};

   // Hears of the object's notifications. When a watcher throws, the exception goes to the
   // interface's onNotificationException(), and the other watchers are still told.
   // Borrows: removes itself before it goes.
   class ZET_EXPORT Watcher {
    public:
      virtual ~Watcher();
      virtual void onAttribute( AttributeId id ) = 0;
      virtual void onAttributeAt( AttributeId id, Ptr< GenericIf > const& key ) = 0;
   };

   // Stands for all attributes in the list of pending notifications.
   static constexpr AttributeId allAttributesId = -1;

   bool isConst() const noexcept { return isConst_; }

   // Returns true if the interface is held once and nobody has changed it since its making.
   [[gnu::always_inline]] bool isAsMade() const noexcept {
      return NotifieeConst::isAsMade() && !telling_ && !isDeferring_;
   }

   // The type of the reflected value or object.
   virtual Ptr< ZetType const > zetType() const = 0;
   // Returns the reflected object if `wanted` is its type or a base of it. Returns null when a
   // value is reflected.
   // Throws: GenericIfException `type` with the reflected type's short name for any other type.
   virtual Ptr< PtrInterface > zetObject( ZetType const& wanted ) const;
   virtual String8 attributeString( AttributeId id ) const;
   // Returns the id of the attribute of that name. Throws: GenericIfException `unknownAttribute`
   // with the name.
   virtual AttributeId attributeId( String8 name ) const;
   // Does the same for a text, without making a String8.
   template < std::convertible_to< std::string_view > Text >
   AttributeId attributeId( Text const& name ) const {
      return zetAttributeId( name );
   }
   // Runs the operation. Returns null when the operation has no result.
   // Throws: GenericIfException; any exception from the operation itself.
   virtual Ptr< GenericIf > attributeOp( AttributeOp const& op, Ptr< GenericIf const > const& key,
                                         Ptr< GenericIf > const& value );
   virtual String8 strRep() const;
   virtual void zetDoZombieReactors( bool zombie );

   // Walk the members of a collection attribute in order: from the first on, or from a key on,
   // which may be absent.
   // Throws: GenericIfException `opNotSupported` for an attribute that is no collection; `badIndex`
   // for a place in another collection or object, or at the end where a member is needed.
   virtual Ptr< Place > attributeIteratorConst( AttributeId id ) const;
   virtual Ptr< Place > attributeIteratorKeyConst( AttributeId id,
                                                   Ptr< GenericIf const > const& key ) const;
   virtual Ptr< GenericIf > attributeIterator_iterObj( AttributeId id, Place const& at ) const;
   virtual void attributeIterator_iterInc( AttributeId id, Place& at ) const;
   virtual Ptr< GenericIf > attributeIterator_iterKey( AttributeId id, Place const& at ) const;
   virtual Ptr< Place > attributeIterator_iterClone( AttributeId id, Place const& at ) const;
   virtual bool attributeIterator_nonNull( AttributeId id, Place const& at ) const;
   virtual void attributeIterator_iterDel( AttributeId id, Place& at );

   // Returns the address of the reflected value if `wanted` is its type; null otherwise.
   void const* zetValue( ZetType const& wanted ) const noexcept {
      return &wanted == valueType_ ? value_ : nullptr;
   }
   // Does the work of attributeId() for a text.
   virtual AttributeId zetAttributeId( std::string_view name ) const;

   void watcherIs( Watcher& watcher );
   void watcherDel( Watcher& watcher );

   // Says whether keyed changes are deferred until handleNotification() delivers them.
   bool isDeferring() const noexcept { return isDeferring_; }
   void isDeferringIs( bool deferring ) noexcept { isDeferring_ = deferring; }
   // Counts one more change of a keyed attribute. Returns true if the change is deferred.
   bool zetOnAttribute( AttributeId id, unsigned int& pending );

   void onAttribute( AttributeId id ) override;
   void onAttributeAt( AttributeId id, Ptr< GenericIf > const& key );
   void handleNotification( ActivityConfig* activity ) override;

 protected:
   explicit GenericIf( bool isConst ) : isConst_( isConst ) {}
   // Reflects the value at that address, which is in the derived class.
   GenericIf( bool isConst, ZetType const& type, void const* value )
       : valueType_( &type ), value_( value ), isConst_( isConst ) {}

   void isConstIs( bool isConst ) noexcept { isConst_ = isConst; }

   // Delivers the pending notifications of one attribute, or of all.
   virtual void handlePending( AttributeId id );

 private:
   // State that few interfaces have, and never one of a passed value.
   struct Telling {
      std::vector< AttributeId > pending;
      std::vector< Watcher* > watchers;
   };

   struct TellingDelete {
      ZET_EXPORT void operator()( Telling* telling ) const noexcept;
   };

   Telling& telling();
   template < class Tell > void tellWatchers( AttributeId id, Tell tell );

   // Null when an object is reflected.
   ZetType const* valueType_ = nullptr;
   void const* value_ = nullptr;
   bool isConst_;
   bool isDeferring_ = false;
   std::unique_ptr< Telling, TellingDelete > telling_;
};

// A list of named arguments.
class ZET_EXPORT GenericIf::List_ : public GenericIf {
 public:
   struct Element {
      Name name;
      Ptr< GenericIf > value;
   };

   List_() : GenericIf( false ) {}

   Ptr< ZetType const > zetType() const override;
   static Ptr< ZetType const > _fwkType();

   std::vector< Element > const& elements() const noexcept { return elements_; }
   // Returns null when there is no element of that name.
   Ptr< GenericIf > element( Name const& name ) const noexcept;
   List_& elementIs( Name name, Ptr< GenericIf > value );

 private:
   std::vector< Element > elements_;
};

// Returns the arguments in the list, at most `most`.
// Throws: GenericIfException: `type` "Zet::GenericIf::List_" when there is no list, "List" when
// something else is given; `unknownArgument` with the function's name when there are too many.
ZET_EXPORT GenericIf::List_ const& argumentList( Ptr< GenericIf const > const& list,
                                                 std::size_t most, std::string_view function );

} // namespace Zet
