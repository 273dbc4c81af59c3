#pragma once

#include "adapters/attrlog/Attach.h"
#include "adapters/attrlog/ConfigLog.h"
#include "adapters/attrlog/StatusLog.h"
#include "adapters/notify/EntityCollection.h"
#include "adapters/notify/ValueCollection.h"

// A type of the tests' own with an attribute of each kind. All that it writes is accessors,
// handlers and rows: delivery, names, reflection, announcement and replication come with them.
namespace Tests {

class Part : public Notify::LoggedEntity< Part > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Part >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   explicit Part( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 private:
   friend class Notify::NotifyingEntity< Part >;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< Part > zetChainLink;
};

class Part::NotifieeConst : public Notify::EntityNotifiee< Part, Zet::Entity::NotifieeConst > {};

enum class Colour : std::uint32_t { red, blue };

class Gauge : public Notify::LoggedEntity< Gauge > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Gauge >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using Link = UplinkFailureDetection::GroupLinkStatus;
   using Level = Notify::ValueMember< Kelnet::IntfId, unsigned int, Gauge >;

   explicit Gauge( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}

   double value() const { return value_; }
   void valueIs( double const& value ) { attributeIs< &Gauge::value >( value_, value ); }
   unsigned int most() const { return 100; }
   Zet::String8 title() const { return title_; }
   void titleIs( Zet::String8 title ) { attributeIs< &Gauge::title >( title_, title ); }
   bool isOpen() const { return isOpen_; }
   void isOpenIs( bool isOpen ) { attributeIs< &Gauge::isOpen >( isOpen_, isOpen ); }
   Link link() const { return link_; }
   void linkIs( Link link ) { attributeIs< &Gauge::link >( link_, link ); }
   Colour colour() const { return colour_; }
   void colourIs( Colour colour ) { attributeIs< &Gauge::colour >( colour_, colour ); }
   bool isFull() const { return value_ >= most(); }
   void reset( double value ) { valueIs( value ); }

   unsigned int level( Kelnet::IntfId at ) const { return level_.value( at ); }
   void levelIs( Kelnet::IntfId at, unsigned int level ) { level_.valueIs( *this, at, level ); }
   unsigned int levelDel( Kelnet::IntfId at ) { return level_.valueDel( *this, at ); }
   void levelNotify( Kelnet::IntfId at, Zet::Ptr< Level > const& ) {
      notify< &Gauge::level >( at );
   }
   using Levels = Notify::ValueCollection< &Gauge::levelNotify >;
   Levels::Members const& levelMembers() const { return level_.members(); }

   Zet::Ptr< Part > part( Zet::Name name ) const { return part_.find( name ); }
   Zet::Ptr< Part > partIs( Zet::Name name ) {
      if ( auto const member = part( name ) )
         return member;
      auto const member = part_.newMember( *this, 264, Zet::make< Part >( name ) );
      notify< &Gauge::part >( name );
      return member;
   }
   Zet::Ptr< Part > partDel( Zet::Name name ) { return part_.del( *this, name ); }
   void partNotify( Zet::Name name, Zet::Ptr< Part > const& member ) {
      member->parentIs( nullptr );
      notify< &Gauge::part >( name );
   }
   using Parts = Notify::EntityCollection< &Gauge::partNotify >;
   Parts::Members const& partMembers() const { return part_.members(); }

 protected:
   ~Gauge() override {
      part_.end( *this, 264 );
      notifiees_.deleteAll();
   }

 private:
   friend class Notify::NotifyingEntity< Gauge >;
   double value_ = 0;
   Zet::String8 title_;
   bool isOpen_ = false;
   Link link_ = Link::unknown;
   Colour colour_ = Colour::red;
   Levels level_;
   Parts part_;
   mutable NotifieeList notifiees_;
};

class Gauge::NotifieeConst : public Notify::EntityNotifiee< Gauge, Zet::Entity::NotifieeConst,
                                                            Kelnet::IntfId, Zet::Name > {
 public:
   virtual void onScalar() {}
   virtual void onValue() {}
   virtual void onLevel( Kelnet::IntfId ) {}
   virtual void onPart( Zet::Name ) {}
};

} // namespace Tests

template <> struct Notify::Description< Tests::Colour > {
   static constexpr std::string_view nameSpace = "Tests";
   static constexpr std::string_view name = "Colour";
   static constexpr std::array< char const*, 2 > enumerators{ "red", "blue" };
};

template <> struct Notify::Description< Tests::Part > {
   static constexpr std::string_view nameSpace = "Tests";
   static constexpr std::string_view name = "Part";
   static constexpr std::tuple<> attributes{};
};

template <> struct Notify::Description< Tests::Gauge > {
   using T = Tests::Gauge;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Tests";
   static constexpr std::string_view name = "Gauge";
   static constexpr std::tuple attributes{
      Scalar< &T::value, &T::valueIs, &N::onValue >{ 258, "value" },
      Constant< &T::most >{ 259, "most" },
      Scalar< &T::title, &T::titleIs, &N::onScalar >{ 260, "title" },
      Scalar< &T::isOpen, &T::isOpenIs, &N::onScalar >{ 261, "isOpen" },
      Scalar< &T::link, &T::linkIs, &N::onScalar >{ 262, "link" },
      Scalar< &T::colour, &T::colourIs, &N::onScalar >{ 267, "colour" },
      ValueCollectionRow< &T::level, &T::levelMembers, &T::levelIs, &T::levelDel, &N::onLevel >{
          263, "level" },
      EntityCollectionRow< &T::part, &T::partMembers, &T::partIs, &T::partDel, &N::onPart >{
          264, "part" },
      Derived< &T::isFull >{ 265, "isFull" },
      Function< &T::reset >{ 266, "reset", "value" },
   };
};
