#include "platform/zet/generic/ValueIf.h"
#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Entities.h"
#include "tests/support/Failures.h"
#include "tests/support/RandomSequences.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

namespace Tests {

namespace {

// Which interface, what to do with it, which attribute, operation, key and value: each number
// stands for one of what there is then.
using Event = std::array< unsigned int, 6 >;
using Sequence = std::vector< Event >;
using AnyInterface = Zet::Ptr< Zet::GenericIf >;
using Place = Zet::Ptr< Zet::GenericIf::Place >;

template < class Things >
auto const&
oneOf( Things const& things, unsigned int number ) {
   return things[ number % things.size() ];
}

// All that somebody without knowledge of the types could have got hold of.
class Stranger : Zet::GenericIf::Watcher {
 public:
   Stranger() {
      for ( char const* const name : { "group", "config", "groupStatus", "status", "root", "sm",
                                       "groupSm", "intfSm", "dir", "cause", "e1", "e2" } ) {
         interfaces_.push_back( world_.of( name ) );
         interfaces_.push_back( world_.of( std::string( name ) + "!" ) );
      }
      watched_ = interfaces_;
      for ( AnyInterface const& interface : watched_ )
         interface->watcherIs( *this );
      for ( char const* const word : { "-", "true", "2", "2.5", "'g'", "'h'", "%e1", "%e2" } )
         values_.push_back( valueOf( word, &world_ ) );
   }
   ~Stranger() override {
      for ( AnyInterface const& interface : watched_ )
         interface->watcherDel( *this );
   }
   Stranger( Stranger const& ) = delete;
   Stranger& operator=( Stranger const& ) = delete;

   void act( Event const& event ) {
      auto const& [ who, what, which, operation, key, value ] = event;
      AnyInterface const on = oneOf( interfaces_, who );
      Zet::AttributeId const id = oneOf( ids, which );
      try {
         switch ( what % 16 ) {
         default:
            // Whoever makes an object nondestructing has to count its references himself.
            if ( id != Zet::isNondestructingAttributeId )
               keep( on->attributeOp( { id, oneOf( operations, operation ) }, oneOf( values_, key ),
                                      oneOf( values_, value ) ) );
            break;
         case 0:
            return lists( key, value );
         case 1:
            return on->isDeferringIs( value % 2 != 0 );
         case 2:
            return on->handleNotification( nullptr );
         case 3:
            places_.push_back( on->attributeIteratorConst( id ) );
            break;
         case 4:
            places_.push_back( on->attributeIteratorKeyConst( id, oneOf( values_, key ) ) );
            break;
         case 5:
         case 6:
         case 7:
            if ( !places_.empty() )
               walk( *on, id, oneOf( places_, key ), operation );
            break;
         }
      } catch ( Zet::Exception const& ) {
         // It may refuse anything.
      }
   }

 private:
   static constexpr std::array ids{ -1,  0,   5,   6,   130, 131, 132, 133, 134, 135, 136,
                                    137, 138, 142, 143, 144, 154, 258, 259, 260, 261, 999 };
   static constexpr std::array operations{ 0u, 0u, 1u, 2u, 3u, 4u, 128u, 128u, 129u, 130u, 255u };

   void onAttribute( Zet::AttributeId id ) override {
      if ( id == 259 )
         throw std::runtime_error( "watcher" );
   }
   void onAttributeAt( Zet::AttributeId id, AnyInterface const& ) override { onAttribute( id ); }

   // The arguments of a function or constructor, now and then with one more, or another value.
   void lists( unsigned int which, unsigned int value ) {
      static Log const arguments{ "()",
                                  "(name:'h')",
                                  "(intfId:%e1)",
                                  "(groupName:'g')",
                                  "(ethIntfStatus:@e2,groupSm:@groupSm)",
                                  "(groupConfig:@group,groupStatus:@groupStatus,"
                                  "ethIntfStatusDir:@dir,causeStatus:@cause)",
                                  "(config:@config,status:@status,ethIntfStatusDir:@dir,"
                                  "causeStatus:@cause)" };
      static Log const names{ "name", "intfId", "groupName", "groupSm", "status", "causeStatus" };
      auto const list =
          Zet::ptrCast< Zet::GenericIf::List_ >( valueOf( oneOf( arguments, which ), &world_ ) );
      if ( value % 4 == 0 )
         list->elementIs( oneOf( names, value / 4 ).c_str(), oneOf( values_, value / 32 ) );
      keep( list );
   }

   void walk( Zet::GenericIf& on, Zet::AttributeId id, Place const& at, unsigned int how ) {
      switch ( how % 6 ) {
      case 0:
         return keep( on.attributeIterator_iterObj( id, *at ) );
      case 1:
         return keep( on.attributeIterator_iterKey( id, *at ) );
      case 2:
         return on.attributeIterator_iterInc( id, *at );
      case 3:
         places_.push_back( on.attributeIterator_iterClone( id, *at ) );
         return;
      case 4:
         on.attributeIterator_nonNull( id, *at );
         return;
      default:
         return on.attributeIterator_iterDel( id, *at );
      }
   }

   void keep( AnyInterface const& result ) {
      if ( !result )
         return;
      std::ostringstream() << result->strRep();
      values_.push_back( result );
      if ( result->zetType()->hasGenericIfSupport() )
         interfaces_.push_back( result );
   }

   ReflectedWorld const world_;
   std::vector< AnyInterface > interfaces_;
   std::vector< AnyInterface > watched_;
   std::vector< AnyInterface > values_;
   std::vector< Place > places_;
};

Sequence
randomSequence( std::uint64_t seed ) {
   std::mt19937_64 random( seed );
   Sequence sequence( 200 );
   for ( Event& event : sequence )
      for ( unsigned int& number : event )
         number = static_cast< unsigned int >( random() >> 40 );
   return sequence;
}

std::string
complaintAbout( Sequence const& sequence ) {
   CollectedFailures const failures;
   try {
      Stranger stranger;
      for ( Event const& event : sequence )
         stranger.act( event );
   } catch ( std::exception const& failure ) {
      return failure.what();
   }
   for ( std::string const& text : failures.texts )
      if ( !text.ends_with( "failed: watcher" ) )
         return text;
   return {};
}

std::string
textOf( Sequence const& sequence ) {
   std::ostringstream text;
   for ( Event const& event : sequence ) {
      for ( unsigned int const number : event )
         text << ' ' << number;
      text << ';';
   }
   return text.str();
}

} // namespace

TEST( GenericIf, TakesAnythingFromStrangers ) {
   SequenceTest< Event >{ randomSequence, complaintAbout, textOf }.playMany( 300 );
}

} // namespace Tests
