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

// A value or an object as seen without knowing its type: attributes by id, values as interfaces.
class ZET_EXPORT GenericIf : public PtrInterface::NotifieeConst {
 public:
   // Operations on an attribute. Those from 128 on change something.
   enum Operation : unsigned int {
      get = 0,     // The value; of a collection, the member at the key; of a function, its call.
      count = 1,   // Of a collection: how many members it has.
      version = 2, // Of a collection: a number that every change of it changes.
      has = 3,     // Of a collection: whether the key is a member.
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

   // A place in the members of a collection attribute. It holds the object, and the member.
   class ZET_EXPORT Place : public PtrInterface {};

   // Hears what the object's notifications become. One that throws is reported to the interface's
   // onNotificationException(), and the others are told.
   // Borrows: removes itself before it goes.
   class ZET_EXPORT Watcher {
    public:
      virtual ~Watcher();
      virtual void onAttribute( AttributeId id ) = 0;
      virtual void onAttributeAt( AttributeId id, Ptr< GenericIf > const& key ) = 0;
   };

   // Stands for all attributes at once in what is pending.
   static constexpr AttributeId allAttributesId = -1;

   bool isConst() const noexcept { return isConst_; }

   // Whether it is held once, and nobody has changed what it was made with.
   bool isAsMade() const noexcept {
      return NotifieeConst::isAsMade() && !telling_ && !isDeferring_;
   }

   // The type of the reflected value or object.
   virtual Ptr< ZetType const > zetType() const = 0;
   // The reflected object, for a wanted type that is its own or a base; null when a value is
   // reflected.
   // Throws: GenericIfException `type` with the reflected type's short name otherwise.
   virtual Ptr< PtrInterface > zetObject( ZetType const& wanted ) const;
   virtual String8 attributeString( AttributeId id ) const;
   // Throws: GenericIfException `unknownAttribute` with the name.
   virtual AttributeId attributeId( String8 name ) const;
   // The same for a text of which there is no String8 yet: none is made.
   template < std::convertible_to< std::string_view > Text >
   AttributeId attributeId( Text const& name ) const {
      return zetAttributeId( name );
   }
   // Null when the operation has nothing to return.
   // Throws: GenericIfException; what the operation itself throws.
   virtual Ptr< GenericIf > attributeOp( AttributeOp const& op, Ptr< GenericIf const > const& key,
                                         Ptr< GenericIf > const& value );
   virtual String8 strRep() const;
   virtual void zetDoZombieReactors( bool zombie );

   // Walks the members of a collection attribute, in order; from a key on, or from the next.
   // Throws: GenericIfException `opNotSupported` for an attribute that is no collection; `badIndex`
   // for a place in another collection or object, or at the end where a member is asked for.
   virtual Ptr< Place > attributeIteratorConst( AttributeId id ) const;
   virtual Ptr< Place > attributeIteratorKeyConst( AttributeId id,
                                                   Ptr< GenericIf const > const& key ) const;
   virtual Ptr< GenericIf > attributeIterator_iterObj( AttributeId id, Place const& at ) const;
   virtual void attributeIterator_iterInc( AttributeId id, Place& at ) const;
   virtual Ptr< GenericIf > attributeIterator_iterKey( AttributeId id, Place const& at ) const;
   virtual Ptr< Place > attributeIterator_iterClone( AttributeId id, Place const& at ) const;
   virtual bool attributeIterator_nonNull( AttributeId id, Place const& at ) const;
   virtual void attributeIterator_iterDel( AttributeId id, Place& at );

   // The address of the reflected value, for a wanted type that is its own; null otherwise.
   void const* zetValue( ZetType const& wanted ) const noexcept {
      return &wanted == valueType_ ? value_ : nullptr;
   }
   // attributeId() of a text.
   virtual AttributeId zetAttributeId( std::string_view name ) const;

   void watcherIs( Watcher& watcher );
   void watcherDel( Watcher& watcher );

   // While it defers, keyed changes wait until handleNotification() delivers them.
   bool isDeferring() const noexcept { return isDeferring_; }
   void isDeferringIs( bool deferring ) noexcept { isDeferring_ = deferring; }
   // Counts one more change of a keyed attribute and returns whether it is to wait.
   bool zetOnAttribute( AttributeId id, unsigned int& pending );

   void onAttribute( AttributeId id ) override;
   void onAttributeAt( AttributeId id, Ptr< GenericIf > const& key );
   void handleNotification( ActivityConfig* activity ) override;

 protected:
   explicit GenericIf( bool isConst ) : isConst_( isConst ) {}
   // Of the value at that address, which is in the derived class.
   GenericIf( bool isConst, ZetType const& type, void const* value )
       : valueType_( &type ), value_( value ), isConst_( isConst ) {}

   void isConstIs( bool isConst ) noexcept { isConst_ = isConst; }

   // Delivers what is pending of one attribute, or of all.
   virtual void handlePending( AttributeId id );

 private:
   // What only few have, and no value that is passed.
   struct Telling {
      std::vector< AttributeId > pending;
      std::vector< Watcher* > watchers;
   };

   struct TellingDelete {
      ZET_EXPORT void operator()( Telling* telling ) const noexcept;
   };

   Telling& telling();
   template < class Tell > void tellWatchers( AttributeId id, Tell tell );

   // Null where an object is reflected.
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
   // Null when there is none of that name.
   Ptr< GenericIf > element( Name const& name ) const noexcept;
   List_& elementIs( Name name, Ptr< GenericIf > value );

 private:
   std::vector< Element > elements_;
};

// The arguments in the list, which are at most so many.
// Throws: GenericIfException: `type` "Zet::GenericIf::List_" when there is no list, "List" when
// something else is given; `unknownArgument` with the function's name when there are too many.
ZET_EXPORT GenericIf::List_ const& argumentList( Ptr< GenericIf const > const& list,
                                                 std::size_t most, std::string_view function );

} // namespace Zet
