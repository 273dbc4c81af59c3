#include "agent/Configurator.h"

#include "agent/base/WallTime.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

constexpr char const* notConfirmed =
    "nobody confirmed it in time; to put it in force: ufdctl reload";

// Returns the names of the ports that are ours.
std::set< std::string >
shutPorts( State const& state ) {
   std::set< std::string > names;
   state.portMembers().forEach( [ & ]( PortState const& port ) {
      if ( port.means() != PortMeans::none )
         names.emplace( port.zetName().view() );
   } );
   return names;
}

std::vector< std::string >
difference( std::set< std::string > const& from, std::set< std::string > const& without ) {
   std::vector< std::string > names;
   std::ranges::set_difference( from, without, std::back_inserter( names ) );
   return names;
}

} // namespace

std::vector< Kelnet::IntfId >
portsOf( ConfigFile const& config ) {
   std::vector< Kelnet::IntfId > ports;
   for ( GroupSettings const& group : config.groups )
      if ( !group.policy.dryRun )
         for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
            ports.push_back( port.key() );
   return ports;
}

FirstConfig
firstConfig( std::string const& file, std::string const& stateDirectory ) {
   FirstConfig first{ .config = readConfigOfThisMachine( file ) };
   std::optional< FormerConfig > former;
   try {
      StateDirectory directory = StateDirectory::toRead( stateDirectory );
      former = FormerConfigFile( directory ).recall().config;
   } catch ( std::runtime_error const& ) {
      // The daemon says what is wrong with the directory.
   }
   first.isPending = former && former->text != first.config.text;
   bool const isBack = former && ( Zet::now() >= former->deadline || !first.config.errors.empty() );
   if ( !isBack || !first.isPending )
      return first;
   ConfigFile config = parseConfig( former->text, file );
   if ( !config.errors.empty() )
      return first;
   return { .config = std::move( config ),
            .isFormer = true,
            .fileErrors = std::move( first.config.errors ) };
}

Configurator::Configurator( std::string file, Agent& agent, PortClaims& claims,
                            StateDirectory& directory, Log& log )
    : file_( std::move( file ) ), agent_( agent ), claims_( claims ), store_( directory ),
      log_( log ) {}

void
Configurator::start( FirstConfig const& first ) {
   text_ = first.config.text;
   auto [ former, problem ] = store_.recall();
   if ( !problem.empty() ) {
      std::string const aside = store_.keepAside();
      line( store_.place() + ' ' + problem + ( aside.empty() ? "" : ", and is kept as " + aside ) +
            ": the configuration in " + file_ + " is in force, and needs no confirmation" );
   }
   former_ = std::move( former );
   if ( !former_ )
      return;
   for ( std::string const& error : first.fileErrors )
      line( error );
   // The errors of the file may have brought it back before the deadline.
   if ( first.isFormer ) {
      former_->deadline = std::min( former_->deadline, Zet::now() );
      store_.remember( *former_ );
      tellFormerInForce();
   } else if ( former_->text == text_ ) {
      // The file says the same again.
      forgetFormer();
   } else {
      store_.remember( *former_ );
      tellPending();
   }
}

ConfigFile
Configurator::read() {
   ConfigFile config = readConfigOfThisMachine( file_ );
   if ( config.errors.empty() )
      config.errors = claims_.add( portsOf( config ) );
   return config;
}

bool
Configurator::load( ConfigFile config ) {
   std::vector< Kelnet::IntfId > const ports = portsOf( config );
   std::string text = config.text;
   if ( !agent_.reload( std::move( config ), file_ ) )
      return false;
   claims_.keepOnly( ports );
   text_ = std::move( text );
   return true;
}

void
Configurator::reload() {
   if ( load( read() ) )
      reviewFormer();
}

ControlReply
Configurator::handle( ControlRequest const& request ) {
   return request.verb == ControlRequest::Verb::confirm ? handleConfirm( request )
                                                        : handleReload( request );
}

ControlReply
Configurator::handleReload( ControlRequest const& request ) {
   using Kind = ControlReply::Kind;
   if ( request.isDryRun ) {
      ConfigFile const config = readConfigOfThisMachine( file_ );
      if ( !config.errors.empty() )
         return reply( Kind::refused, config.errors.front() );
      return config.groups.empty() ? reply( Kind::refused, file_ + ": there is no [[group]]" )
                                   : reply( Kind::done, "" );
   }
   auto const state = agent_.roots().state;
   std::set< std::string > const before = shutPorts( *state );
   ConfigFile config = read();
   bool const isGood = config.errors.empty() && !config.groups.empty();
   if ( isGood && request.confirmWithin )
      if ( int const error = keepFormer( *request.confirmWithin ) )
         return reply( Kind::failed, "not reloaded: the former configuration can't be kept in " +
                                         store_.place() + ": " +
                                         std::generic_category().message( error ) );
   if ( !load( std::move( config ) ) )
      return reply( Kind::refused, std::string( state->refusal().view() ) );
   reviewFormer();
   // Writes the State.
   agent_.endTurn();
   std::set< std::string > const after = shutPorts( *state );
   return { .kind = Kind::done,
            .text = isPending() ? pendingText() : "",
            .toShut = difference( after, before ),
            .toOpen = difference( before, after ) };
}

// Records what comes back unless it is confirmed in time. Returns an errno value.
int
Configurator::keepFormer( double confirmWithin ) {
   FormerConfig next =
       isPending() ? *former_
                   : FormerConfig{ .text = text_, .readTime = agent_.roots().state->configTime() };
   next.deadline = Zet::now() + confirmWithin;
   int const error = store_.remember( next );
   if ( !error ) {
      former_ = std::move( next );
      isFormerInForce_ = false;
      agent_.formerMayReturnIs( true );
   }
   return error;
}

// The file is in force again.
void
Configurator::reviewFormer() {
   if ( isFormerInForce_ )
      forgetFormer();
   else if ( former_ )
      tellPending();
}

ControlReply
Configurator::handleConfirm( ControlRequest const& request ) {
   using Kind = ControlReply::Kind;
   if ( !former_ )
      return reply( Kind::refused, "no configuration waits to be confirmed" );
   if ( isFormerInForce_ )
      return reply( Kind::refused, "it is too late: the former configuration is in force again; to "
                                   "read " +
                                       file_ + " again: ufdctl reload" );
   if ( request.isDryRun )
      return reply( Kind::done, "" );
   if ( !forgetFormer() )
      return reply( Kind::failed, "can't remove " + store_.place() + "; see who owns it" );
   line( "the configuration is confirmed, by user " + std::to_string( request.uid ) );
   return reply( Kind::done, "the configuration stays in force" );
}

bool
Configurator::forgetFormer() {
   if ( !store_.forget() )
      return false;
   former_.reset();
   isFormerInForce_ = false;
   agent_.formerMayReturnIs( false );
   agent_.roots().state->confirmTimeIs( 0 );
   return true;
}

bool
Configurator::endTurn() {
   bool const isOver = isPending() && Zet::now() >= former_->deadline;
   if ( isOver )
      bringBack();
   return isOver;
}

double
Configurator::nextTime() const {
   return isPending() ? former_->deadline : never;
}

void
Configurator::bringBack() {
   line( "nobody has confirmed the configuration in time: the former one comes back" );
   ConfigFile config = parseConfig( former_->text, file_ );
   if ( config.errors.empty() )
      config.errors = claims_.add( portsOf( config ) );
   if ( load( std::move( config ) ) )
      return tellFormerInForce();
   line( "the former configuration can't come back; the unconfirmed one stays in force" );
   forgetFormer();
}

void
Configurator::tellFormerInForce() {
   isFormerInForce_ = true;
   agent_.formerMayReturnIs( false );
   agent_.handleNotInForce( notConfirmed, "; " + file_ + " was not confirmed and is not in force" );
   auto const state = agent_.roots().state;
   state->configTimeIs( former_->readTime );
   state->configWallIs( Moment::now().wallAt( former_->readTime ) );
   state->refusalTimeIs( former_->deadline );
   state->confirmTimeIs( 0 );
   line( "the former configuration is in force, not " + file_ + ": " + notConfirmed );
}

std::string
Configurator::pendingText() const {
   return "the configuration is not confirmed: in " +
          secondsText( std::ceil( former_->deadline - Zet::now() ) ) +
          " the former one comes back, unless: ufdctl confirm";
}

void
Configurator::tellPending() {
   agent_.roots().state->confirmTimeIs( former_->deadline );
   line( pendingText() );
}

void
Configurator::checkRecord() {
   if ( former_ && store_.isLost() )
      store_.remember( *former_ );
}

} // namespace Ufdd
