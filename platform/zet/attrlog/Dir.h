#pragma once

#include "platform/zet/Entity.h"

#include <unordered_map>

namespace Zet {

// A directory of mounted entities.
class ZET_EXPORT Dir : public Entity {
 public:
   class Entry {
    public:
      // The state of an entity that is in step with its peer.
      static constexpr unsigned int inStep = 3;
      explicit Entry( Entity& entity ) noexcept : entity_( &entity ) {}
      Entity* entity() const noexcept { return entity_.get(); }
      unsigned int state() const noexcept { return state_; }
      void stateIs( unsigned int state ) noexcept { state_ = state; }

    private:
      Ptr< Entity > entity_;
      unsigned int state_ = 0;
   };

   explicit Dir( Name name ) : Entity( std::move( name ) ) {}

   // Returns null when nothing of that name is mounted. Valid until: the entity is unmounted.
   Entry* entry( Name const& name ) noexcept;
   // Mounts the entity under its name and becomes its parent.
   Entry& entryIs( Ptr< Entity > const& entity );
   void entryDel( Name const& name );

 protected:
   ~Dir() override;

 private:
   struct Hash {
      std::size_t operator()( Name const& name ) const noexcept { return name.hash(); }
   };
   std::unordered_map< Name, Entry, Hash > entries_;
};

} // namespace Zet
