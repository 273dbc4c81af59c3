#include "platform/zet/attrlog/In.h"

#include "platform/zet/Assert.h"
#include "platform/zet/attrlog/Demuxer.h"
#include "platform/zet/attrlog/Errors.h"
#include "platform/zet/attrlog/Out.h"

#include <algorithm>

namespace Zet::NboAttrLog {

namespace {

using TransactToken = Connection::Out::TransactToken;

constexpr std::size_t helloSize = magic.size() + sizeof version + sizeof( std::uint16_t );

constexpr std::size_t tokenAt = In::transactionAt + 1;

// The bytes between attribute and payload in most records: the kind, zeros in the other fields, the
// token.
constexpr std::array< unsigned char, In::transactionAt + 2 - In::kindAt > usualRest{
   attributeKind, 0, 0, 0, 0, 0, 0, 0, 0, 0, static_cast< unsigned char >( TransactToken::begin )
};

// Loads the id in one piece, because it is compared next: a processor would wait for parts to be
// joined.
EntityId
entityIdAt( unsigned char const* at ) noexcept {
   static_assert( sizeof( EntityId ) == sizeof( std::uint64_t ) );
   auto both = load< std::uint64_t >( at );
   if constexpr ( std::endian::native == std::endian::little )
      both = std::rotl( both, 32 );
   return std::bit_cast< EntityId >( both );
}

} // namespace

In::~In() = default;

bool
In::receive( std::span< unsigned char const > bytes ) {
   require( !receiving_, "an input is not given bytes while it handles some" );
   // Held, because a record may drop its connection.
   Ptr< In > const self( this );
   receiving_ = true;
   try {
      while ( !bytes.empty() && error_.empty() && demuxer_ ) {
         if ( greeted_ && filled_ == 0 )
            bytes = deliverWhole( bytes );
         if ( bytes.empty() || !demuxer_ )
            break;
         bytes = bytes.subspan( gather( bytes ) );
         if ( filled_ == needed( unit_, filled_ ) )
            unitCompleted();
      }
   } catch ( MalformedException const& failure ) {
      fail( failure.what() );
   } catch ( std::exception const& failure ) {
      fail( "the record at offset " + std::to_string( offset_ ) + ": " + failure.what() );
   } catch ( ... ) {
      fail( "an exception of unknown type" );
      receiving_ = false;
      throw;
   }
   receiving_ = false;
   return error_.empty();
}

void
In::localOutput( Out& out ) {
   isLocal_ = true;
   // Records that are written while a record is handled wait for the outer call's loop.
   while ( !receiving_ && out.unsentSize() != 0 ) {
      std::size_t const size = out.unsent().size();
      receive( out.unsent() );
      out.sentIs( size );
   }
}

void
In::fail( String8 const& what ) {
   error_ = what;
   filled_ = 0;
}

// Delivers the complete records and returns the bytes behind them.
inline std::span< unsigned char const >
In::deliverWhole( std::span< unsigned char const > bytes ) {
   while ( demuxer_ && bytes.size() >= lengthSize ) {
      std::size_t const size = recordSize( bytes.data() );
      if ( bytes.size() < size )
         break;
      unit_ = bytes.data();
      filled_ = size;
      unitCompleted();
      bytes = bytes.subspan( size );
   }
   return bytes;
}

// Adds the missing bytes of the unit, as far as they are there, and returns how many it added.
std::size_t
In::gather( std::span< unsigned char const > bytes ) {
   unit_ = gathered_.data();
   std::size_t const size = std::min( needed( unit_, filled_ ) - filled_, bytes.size() );
   std::copy_n( bytes.begin(), size, gathered_.begin() + filled_ );
   filled_ += size;
   return size;
}

std::size_t
In::needed( unsigned char const* begin, std::size_t size ) const {
   if ( greeted_ )
      return size < lengthSize ? lengthSize : recordSize( begin );
   if ( size < helloSize )
      return helloSize;
   auto const typeSize = load< std::uint16_t >( begin + helloSize - sizeof( std::uint16_t ) );
   if ( typeSize > stringLimit )
      malformedAt( helloSize - sizeof( std::uint16_t ), "the type of the hello",
                   "a text has at most " + std::to_string( stringLimit ) + " bytes, not " +
                       std::to_string( typeSize ) );
   return helloSize + typeSize;
}

inline std::size_t
In::recordSize( unsigned char const* begin ) const {
   std::size_t const size = lengthSize + load< std::uint16_t >( begin );
   if ( size < emptyFrameSize || size > frameLimit )
      malformedSize( size );
   return size;
}

void
In::malformedSize( std::size_t size ) const {
   malformedAt( 0, "the length of a record",
                std::to_string( size - lengthSize ) + " is not between " +
                    std::to_string( emptyFrameSize - lengthSize ) + " and " +
                    std::to_string( frameLimit - lengthSize ) );
}

inline void
In::unitCompleted() {
   if ( !greeted_ ) [[unlikely]]
      greet();
   else {
      deliver();
      ++records_;
   }
   offset_ += filled_;
   filled_ = 0;
}

void
In::greet() {
   if ( !std::equal( magic.begin(), magic.end(), unit_ ) )
      malformedAt( 0, "the hello", "this is no attribute log" );
   auto const theirs = load< std::uint16_t >( &unit_[ magic.size() ] );
   if ( theirs != version )
      malformedAt( magic.size(), "the version of the hello",
                   std::to_string( theirs ) + " is not " + std::to_string( version ) +
                       ", the one spoken here" );
   String8 const type = std::string_view( reinterpret_cast< char const* >( &unit_[ helloSize ] ),
                                          filled_ - helloSize );
   if ( !expectedType_.empty() && type != expectedType_ )
      malformedAt( helloSize, "the type of the hello",
                   type + " is not " + expectedType_ + ", which is expected here" );
   helloType_ = type;
   greeted_ = true;
}

// Reads the header and sets the payload's bounds. A record is never shorter than an empty one.
inline MsgHeader
In::header() {
   MsgHeader result{
      entityIdAt( unit_ + entityAt ),
      static_cast< AttributeId >( load< std::uint32_t >( unit_ + attributeAt ) ),
   };
   if ( std::memcmp( unit_ + kindAt, usualRest.data(), usualRest.size() ) != 0 )
      headerRest( result );
   at_ = kindAt + usualRest.size();
   end_ = filled_ - 1;
   if ( unit_[ end_ ] != static_cast< std::uint8_t >( TransactToken::end ) )
      malformedAt( end_, "the token behind the payload", "it is not 3" );
   return result;
}

void
In::headerRest( MsgHeader& header ) const {
   header.kind = unit_[ kindAt ];
   header.count = load< std::uint32_t >( unit_ + countAt );
   header.creation = load< std::uint32_t >( unit_ + creationAt );
   header.transaction = unit_[ transactionAt ];
   if ( header.kind != attributeKind && header.kind != transactionKind )
      malformedAt( kindAt, "header field 4, the kind", "it is neither 1 nor 2" );
   if ( header.count != 0 )
      malformedAt( countAt, "header field 5", "it is not 0" );
   if ( header.creation != 0 &&
        ( header.creation != createsEntity || header.kind == transactionKind ) )
      malformedAt( creationAt, "header field 6, the creation", "it does not fit the record" );
   if ( header.transaction > ( header.kind == transactionKind ? 2 : 0 ) )
      malformedAt( transactionAt, "header field 7, the transaction", "it does not fit the record" );
   if ( unit_[ tokenAt ] != static_cast< std::uint8_t >( TransactToken::begin ) )
      malformedAt( tokenAt, "the token before the payload", "it is not 1" );
}

inline void
In::deliver() {
   MsgHeader const record = header();
   if ( record.kind == transactionKind ) {
      fieldIs( "a transaction marker" );
      payloadEnd();
   }
   demuxer_->handleRecord( record, *this );
}

bool
In::nextbool() {
   std::uint8_t const truth = next< std::uint8_t >();
   if ( truth > 1 )
      malformed( "a truth is 0 or 1, not " + std::to_string( truth ) );
   return truth == 1;
}

std::string_view
In::nextText() {
   std::size_t const begin = at_;
   std::size_t const size = next< std::uint16_t >();
   if ( size > stringLimit )
      malformed( "a text has at most " + std::to_string( stringLimit ) + " bytes, not " +
                 std::to_string( size ) );
   auto const* const text = reinterpret_cast< char const* >( take( size ) );
   last_ = begin;
   return { text, size };
}

EntityId
In::nextEntityId() {
   if ( !receiving_ )
      return std::exchange( assigned_, std::nullopt ).value_or( EntityId{} );
   std::size_t const begin = at_;
   EntityId id;
   id.first = nextU32();
   id.second = nextU32();
   last_ = begin;
   return id;
}

void
In::payloadSectionIs( std::uint8_t section ) {
   fieldIs( "a payload section" );
   if ( std::uint8_t const found = nextU8(); found != section )
      malformed( std::to_string( found ) + " is not " + std::to_string( section ) );
}

void
In::malformedRest() const {
   malformedAt( at_, field_, std::to_string( left() ) + " bytes are left over behind it" );
}

void
In::malformed( String8 const& what ) const {
   malformedAt( last_, field_, what );
}

void
In::malformedAt( std::size_t position, std::string_view field, String8 const& what ) const {
   throw MalformedException( String8( field ) + ", at offset " +
                             std::to_string( offset_ + position ) + ": " + what );
}

void
In::malformedEnd( std::size_t size ) const {
   malformed( std::to_string( size ) + " bytes are needed, " + std::to_string( left() ) +
              " are left" );
}

} // namespace Zet::NboAttrLog
