#include "agent/kernel/RouteFilter.h"

#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <arpa/inet.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <net/if.h>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr std::uint32_t payload = sizeof( nlmsghdr );
constexpr std::uint32_t wholeMessage = 0xffffffff;

// Writes the instructions one by one. A test either passes the message or goes on.
class Writer {
 public:
   void load8( std::size_t at ) { add( BPF_LD | BPF_B | BPF_ABS, at ); }
   // The filter reads numbers in network byte order, but rtnetlink writes them in the machine's.
   void load16( std::size_t at ) { add( BPF_LD | BPF_H | BPF_ABS, at ); }
   void load32( std::size_t at ) { add( BPF_LD | BPF_W | BPF_ABS, at ); }
   void passIf( std::uint16_t test, std::uint32_t value ) {
      code.push_back( BPF_JUMP( jump( test ), value, 0, 1 ) );
      pass();
   }
   void passUnless( std::uint16_t test, std::uint32_t value ) {
      code.push_back( BPF_JUMP( jump( test ), value, 1, 0 ) );
      pass();
   }
   void dropUnless( std::uint16_t test, std::uint32_t value ) {
      code.push_back( BPF_JUMP( jump( test ), value, 1, 0 ) );
      drop();
   }
   // Begins what is done only if the value is that; end() ends it.
   void begin( std::uint32_t value ) {
      opened_.push_back( code.size() );
      code.push_back( BPF_JUMP( jump( BPF_JEQ ), value, 0, 0 ) );
   }
   void end() {
      code[ opened_.back() ].jf = static_cast< std::uint8_t >( code.size() - opened_.back() - 1 );
      opened_.pop_back();
   }
   void pass() { add( BPF_RET | BPF_K, wholeMessage ); }
   void drop() { add( BPF_RET | BPF_K, 0 ); }
   void add( int instruction, std::size_t value ) {
      code.push_back( BPF_STMT( static_cast< std::uint16_t >( instruction ),
                                static_cast< std::uint32_t >( value ) ) );
   }

   std::vector< sock_filter > code;

 private:
   static constexpr std::uint16_t jump( int test ) {
      return static_cast< std::uint16_t >( BPF_JMP | BPF_K | test );
   }
   std::vector< std::size_t > opened_;
};

// Mixes a word into a hash.
constexpr std::uint32_t multiplier = 0x9e3779b1;

std::uint32_t
hashOf( Prefix const& prefix ) {
   std::uint32_t hash = prefix.length;
   for ( std::size_t at = 0; at < ( prefix.isV6 ? 16 : 4 ); at += 4 ) {
      std::uint32_t word;
      std::memcpy( &word, prefix.address.data() + at, sizeof word );
      hash = ( ntohl( word ) + hash ) * multiplier;
   }
   return hash;
}

// Passes routes whose hash is that of one of the prefixes. The kernel has room for few
// instructions (net.core.optmem_max): comparing whole addresses would take five times as many.
void
passPrefixes( Writer& writer, std::span< Prefix const > prefixes ) {
   constexpr std::uint32_t hash = 0; // Places in the filter's memory.
   constexpr std::uint32_t attribute = 1;
   auto const mixWord = [ & ]( std::size_t word ) {
      writer.add( BPF_LDX | BPF_MEM, attribute );
      writer.add( BPF_LD | BPF_W | BPF_IND, sizeof( rtattr ) + 4 * word );
      writer.add( BPF_LDX | BPF_MEM, hash );
      writer.add( BPF_ALU | BPF_ADD | BPF_X, 0 );
      writer.add( BPF_ALU | BPF_MUL | BPF_K, multiplier );
      writer.add( BPF_ST, hash );
   };
   writer.load8( payload + offsetof( rtmsg, rtm_dst_len ) );
   writer.add( BPF_ST, hash );
   // Finds the attribute RTA_DST.
   writer.add( BPF_LDX | BPF_IMM, RTA_DST );
   writer.add( BPF_LD | BPF_IMM, payload + sizeof( rtmsg ) );
   writer.load32( static_cast< std::uint32_t >( SKF_AD_OFF + SKF_AD_NLATTR ) );
   writer.add( BPF_ST, attribute );
   mixWord( 0 );
   writer.load8( payload + offsetof( rtmsg, rtm_family ) );
   writer.begin( AF_INET6 );
   for ( std::size_t word = 1; word < 4; ++word )
      mixWord( word );
   writer.end();
   writer.add( BPF_LD | BPF_MEM, hash );
   for ( Prefix const& prefix : prefixes )
      writer.passIf( BPF_JEQ, hashOf( prefix ) );
}

} // namespace

std::vector< sock_filter >
routeFilter( std::span< Prefix const > prefixes ) {
   Writer writer;
   writer.load16( offsetof( nlmsghdr, nlmsg_flags ) );
   // Parts of a dump hold many messages.
   writer.passIf( BPF_JSET, htons( NLM_F_MULTI ) );
   writer.load16( offsetof( nlmsghdr, nlmsg_type ) );
   writer.passIf( BPF_JEQ, htons( RTM_DELLINK ) );
   for ( int const type : { RTM_NEWADDR, RTM_DELADDR } ) {
      writer.begin( htons( static_cast< std::uint16_t >( type ) ) );
      writer.load8( payload + offsetof( ifaddrmsg, ifa_family ) );
      writer.passIf( BPF_JEQ, AF_INET );
      writer.load8( payload + offsetof( ifaddrmsg, ifa_scope ) );
      writer.passIf( BPF_JEQ, RT_SCOPE_UNIVERSE );
      writer.drop();
      writer.end();
   }
   writer.begin( htons( RTM_NEWLINK ) );
   writer.load32( payload + offsetof( ifinfomsg, ifi_flags ) );
   writer.passUnless( BPF_JSET, htonl( IFF_UP ) );
   writer.load32( payload + offsetof( ifinfomsg, ifi_change ) );
   writer.passIf( BPF_JSET, htonl( IFF_UP ) );
   writer.drop();
   writer.end();
   // Only messages about routes go on; the others are answers.
   static_assert( RTM_DELROUTE == RTM_NEWROUTE + 1 && RTM_NEWROUTE % 2 == 0 );
   writer.add( BPF_ALU | BPF_AND | BPF_K, htons( 0xfffe ) );
   writer.passUnless( BPF_JEQ, htons( RTM_NEWROUTE ) );
   writer.load8( payload + offsetof( rtmsg, rtm_protocol ) );
   for ( std::uint32_t const protocol : { RTPROT_BOOT + 0u, RTPROT_STATIC + 0u } )
      writer.passIf( BPF_JEQ, protocol );
   writer.load8( payload + offsetof( rtmsg, rtm_table ) );
   writer.dropUnless( BPF_JEQ, RT_TABLE_MAIN );
   writer.load8( payload + offsetof( rtmsg, rtm_dst_len ) );
   writer.passIf( BPF_JEQ, 0 );
   if ( !prefixes.empty() )
      passPrefixes( writer, prefixes );
   writer.drop();
   return std::move( writer.code );
}

} // namespace Ufdd
