#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "model/GroupCollection.h"

namespace UplinkFailureDetection {

// The adapter of Config and of Status, whose attributes are the same.
template < class E > class GroupCollectionLog : public AttrLog::EntityAdapter< E > {
   using Base = AttrLog::EntityAdapter< E >;
   using Member = typename E::Member;
   using ChildAdapter = AttrLog::AdapterOf< Member >;
   using Out = Zet::NboAttrLog::Out;
   static constexpr auto readGroup = Notify::reader( &E::group );

 public:
   class FlowOut final : public AttrLog::FlowOut< E > {
    public:
      using AttrLog::FlowOut< E >::FlowOut;
      void zetIsIsNondestructingDirtyIs( bool dirty ) {
         this->template attributeDirtyIs< AttrLog::readNondestructing >( dirty );
      }
      void zetIsGroupDirtyIs( bool dirty ) {
         this->template attributeDirtyIs< readGroup >( dirty );
      }
   };

   using Base::Base;

   virtual void onIsNondestructing() {
      this->template changed< Base::template place< AttrLog::readNondestructing > >();
   }
   virtual void onGroup( Zet::Name name ) { this->template changed< group >( name ); }
   using Handlers = std::tuple<
       AttrLog::HandlerOf< AttrLog::readNondestructing, &GroupCollectionLog::onIsNondestructing >,
       AttrLog::HandlerOf< readGroup, &GroupCollectionLog::onGroup > >;

   void zetHandleGroupSerializeSing( Zet::Name name, Zet::Ptr< Member > const& member ) {
      this->template serializeSing< group >( name, member.get() );
   }
   bool zetHandleGroupSerializeColl() { return this->template serializeColl< group >(); }

   // Returns the group's adapter for this output, or null.
   Zet::Ptr< ChildAdapter > groupNboAttrLogAdapter( Zet::Ptr< Member > const& child ) const {
      return this->template nboAttrLogAdapter< group >( *child );
   }
   // Returns the group's adapter for this output. Makes it if there is none. Writes the record that
   // creates the group.
   // Throws: RangeException "null ValidPtr" when there is no room for that record.
   Zet::Ptr< ChildAdapter > groupNboAttrLogAdapterIs( typename Base::Zet_BitSet mask,
                                                      Zet::Ptr< Member > const& child,
                                                      unsigned int flags,
                                                      Zet::Ptr< Out > const& out,
                                                      Zet::PtrInterface* owner ) {
      return this->template nboAttrLogAdapterIs< group >( mask, child, flags, out, owner );
   }
   // Moves the group's adapter to no output. Writes nothing.
   Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
   groupNboAttrLogAdapterDel( Zet::Ptr< Member > const& child ) {
      return this->template nboAttrLogAdapterDel< group >( *child );
   }

 protected:
   ~GroupCollectionLog() override = default;

 private:
   static constexpr std::size_t group = AttrLog::placeOf< E, readGroup >();
};

} // namespace UplinkFailureDetection
