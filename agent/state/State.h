#pragma once

#include "adapters/notify/EntityCollection.h"
#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "adapters/notify/ValueCollection.h"
#include "agent/state/CheckState.h"
#include "agent/state/GroupState.h"
#include "agent/state/LinkState.h"
#include "agent/state/PortState.h"
#include "platform/zet/ListRaw.h"

namespace Ufdd {

// The root of what ufdd tells of itself: the process, and its groups, links, ports and checks. ufdd
// writes it at the end of each turn of its loop, after the acts. Others hold replicas of it, beside
// those of the library's Status and Config.
//
// All times are in seconds of Zet::now(), the monotonic clock of the machine, and 0 for "never". A
// reader works out the time of day from its own two clocks. Where the time of day must stay the
// same for all readers, however that clock is set later, there is a wall time as well.
class State : public Notify::LoggedEntity< State > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< State >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using ZetReactions = Notify::ValueMember< Zet::Name, unsigned int, struct ReactionsTag >;
   using ZetLogLines = Notify::ValueMember< Zet::Name, unsigned int, struct LogLinesTag >;
   using ZetProtect = Notify::ValueMember< Zet::Name, bool, struct ProtectTag >;

   explicit State( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}

   // The version of ufdd: "0.2.0".
   Zet::String8 version() const { return version_; }
   void versionIs( Zet::String8 version ) {
      attributeIs< &State::version >( version_, std::move( version ) );
   }
   // Which build of that version: "0.2.0-1", the version of the package. May be empty.
   Zet::String8 revision() const { return revision_; }
   void revisionIs( Zet::String8 revision ) {
      attributeIs< &State::revision >( revision_, std::move( revision ) );
   }
   // When ufdd was started.
   double startTime() const noexcept { return startTime_; }
   void startTimeIs( double time ) { attributeIs< &State::startTime >( startTime_, time ); }
   // The wall time at startTime(), in seconds since the epoch.
   double startWall() const noexcept { return startWall_; }
   void startWallIs( double wall ) { attributeIs< &State::startWall >( startWall_, wall ); }

   // The path of the configuration file, as given to ufdd; and when the configuration that is in
   // force was read from it.
   Zet::String8 configFile() const { return configFile_; }
   void configFileIs( Zet::String8 path ) {
      attributeIs< &State::configFile >( configFile_, std::move( path ) );
   }
   double configTime() const noexcept { return configTime_; }
   void configTimeIs( double time ) { attributeIs< &State::configTime >( configTime_, time ); }
   // The wall time at configTime(), in seconds since the epoch; and the CRC of the file that is in
   // force, as the command cksum prints it.
   double configWall() const noexcept { return configWall_; }
   void configWallIs( double wall ) { attributeIs< &State::configWall >( configWall_, wall ); }
   unsigned int configSum() const noexcept { return configSum_; }
   void configSumIs( unsigned int sum ) { attributeIs< &State::configSum >( configSum_, sum ); }
   // When the file was last refused, with the first finding, or was taken back because nobody
   // confirmed it; 0 and empty if what was last read of it is in force.
   double refusalTime() const noexcept { return refusalTime_; }
   void refusalTimeIs( double time ) { attributeIs< &State::refusalTime >( refusalTime_, time ); }
   Zet::String8 refusal() const { return refusal_; }
   void refusalIs( Zet::String8 finding ) {
      attributeIs< &State::refusal >( refusal_, std::move( finding ) );
   }
   // The time by which the configuration that is in force must be confirmed, else the former one
   // comes back; 0 if it need not be.
   double confirmTime() const noexcept { return confirmTime_; }
   void confirmTimeIs( double time ) { attributeIs< &State::confirmTime >( confirmTime_, time ); }
   // How uplinks are watched, as the configuration has it: "verify".
   Zet::String8 detection() const { return detection_; }
   void detectionIs( Zet::String8 detection ) {
      attributeIs< &State::detection >( detection_, std::move( detection ) );
   }

   // The names of the interfaces that are never shut, as the configuration has them. A key that is
   // absent is false.
   bool protect( Zet::Name name ) const { return protect_.value( name ); }
   void protectIs( Zet::Name name, bool isProtected ) {
      protect_.valueIs( *this, name, isProtected );
   }
   bool protectDel( Zet::Name name ) { return protect_.valueDel( *this, name ); }
   void protectNotify( Zet::Name name, Zet::Ptr< ZetProtect > const& ) {
      notify< &State::protect >( name );
   }
   using Protect = Notify::ValueCollection< &State::protectNotify >;
   Protect::Members const& protectMembers() const { return protect_.members(); }

   // Counters since ufdd was started. Each wraps after 2^32 - 1.
   //
   // How often messages about links were lost or links could not be read. All links are read again
   // then.
   unsigned int overruns() const noexcept { return overruns_; }
   void overrunsIs( unsigned int count ) { attributeIs< &State::overruns >( overruns_, count ); }
   // The number of carrier changes that were found by asking a driver, before the kernel told them.
   unsigned int foundByAsking() const noexcept { return foundByAsking_; }
   void foundByAskingIs( unsigned int count ) {
      attributeIs< &State::foundByAsking >( foundByAsking_, count );
   }
   // The number of links that were shut or opened, and of such acts that failed. An act that fails
   // again for the same reason is not counted again.
   unsigned int acts() const noexcept { return acts_; }
   void actsIs( unsigned int count ) { attributeIs< &State::acts >( acts_, count ); }
   unsigned int failedActs() const noexcept { return failedActs_; }
   void failedActsIs( unsigned int count ) {
      attributeIs< &State::failedActs >( failedActs_, count );
   }
   // How many of the acts opened a link, and how many of the failed ones should have.
   unsigned int openActs() const noexcept { return openActs_; }
   void openActsIs( unsigned int count ) { attributeIs< &State::openActs >( openActs_, count ); }
   unsigned int failedOpenActs() const noexcept { return failedOpenActs_; }
   void failedOpenActsIs( unsigned int count ) {
      attributeIs< &State::failedOpenActs >( failedOpenActs_, count );
   }

   // The upper limits of the reaction times' buckets, in seconds, as their keys are written.
   static constexpr std::array< char const*, 14 > reactionLimits{
      "0.0001", "0.00025", "0.0005", "0.001", "0.0025", "0.005", "0.01",
      "0.025",  "0.05",    "0.1",    "0.25",  "0.5",    "1",     "inf",
   };
   // How many reactions took at most so long, and longer than the next lower limit: the counts are
   // not cumulative. A reaction is the time from the kernel's waking ufdd with a message about a
   // link until the ports that had to be shut for it were seen shut; with a down_delay there is
   // none. A key that is absent counts 0.
   unsigned int reactions( Zet::Name limit ) const { return reactions_.value( limit ); }
   void reactionsIs( Zet::Name limit, unsigned int count ) {
      reactions_.valueIs( *this, limit, count );
   }
   unsigned int reactionsDel( Zet::Name limit ) { return reactions_.valueDel( *this, limit ); }
   void reactionsNotify( Zet::Name limit, Zet::Ptr< ZetReactions > const& ) {
      notify< &State::reactions >( limit );
   }
   using Reactions = Notify::ValueCollection< &State::reactionsNotify >;
   Reactions::Members const& reactionsMembers() const { return reactions_.members(); }
   // The sum of all reaction times, in seconds.
   double reactionSeconds() const noexcept { return reactionSeconds_; }
   void reactionSecondsIs( double seconds ) {
      attributeIs< &State::reactionSeconds >( reactionSeconds_, seconds );
   }

   // True unless the record of the links that are ours could not be written: if ufdd were killed,
   // the next one would not know all of them.
   bool isRecorded() const noexcept { return isRecorded_; }
   void isRecordedIs( bool isRecorded ) {
      attributeIs< &State::isRecorded >( isRecorded_, isRecorded );
   }
   // The number of clients that are connected to the socket of the status.
   unsigned int statusClients() const noexcept { return statusClients_; }
   void statusClientsIs( unsigned int count ) {
      attributeIs< &State::statusClients >( statusClients_, count );
   }

   // The number of lines of the log, by their priority. A key that is absent counts 0.
   unsigned int logLines( Zet::Name priority ) const { return logLines_.value( priority ); }
   void logLinesIs( Zet::Name priority, unsigned int count ) {
      logLines_.valueIs( *this, priority, count );
   }
   unsigned int logLinesDel( Zet::Name priority ) { return logLines_.valueDel( *this, priority ); }
   void logLinesNotify( Zet::Name priority, Zet::Ptr< ZetLogLines > const& ) {
      notify< &State::logLines >( priority );
   }
   using LogLines = Notify::ValueCollection< &State::logLinesNotify >;
   LogLines::Members const& logLinesMembers() const { return logLines_.members(); }
   // The number of lines that were dropped, since nobody read the log in time.
   unsigned int droppedLogLines() const noexcept { return droppedLogLines_; }
   void droppedLogLinesIs( unsigned int count ) {
      attributeIs< &State::droppedLogLines >( droppedLogLines_, count );
   }

   // The configured groups, by name. Each operation is as those of Config::group.
   Zet::Ptr< GroupState > group( Zet::Name name ) const { return group_.find( name ); }
   Zet::Ptr< GroupState > groupIs( Zet::Name name ) {
      return memberIs< &State::group >( group_, name );
   }
   Zet::Ptr< GroupState > groupDel( Zet::Name name ) { return group_.del( *this, name ); }
   void groupNotify( Zet::Name name, Zet::Ptr< GroupState > const& member ) {
      handleRemoved< &State::group >( name, *member );
   }
   using Groups = Notify::EntityCollection< &State::groupNotify >;
   Groups::Members const& groupMembers() const { return group_.members(); }

   // The links that the configuration names, uplinks and ports, by these names.
   Zet::Ptr< LinkState > link( Zet::Name name ) const { return link_.find( name ); }
   Zet::Ptr< LinkState > linkIs( Zet::Name name ) {
      return memberIs< &State::link >( link_, name );
   }
   Zet::Ptr< LinkState > linkDel( Zet::Name name ) { return link_.del( *this, name ); }
   void linkNotify( Zet::Name name, Zet::Ptr< LinkState > const& member ) {
      handleRemoved< &State::link >( name, *member );
   }
   using Links = Notify::EntityCollection< &State::linkNotify >;
   Links::Members const& linkMembers() const { return link_.members(); }

   // The ports that groups disable, by name; and ports that no group disables any more, as long as
   // they are ours.
   Zet::Ptr< PortState > port( Zet::Name name ) const { return port_.find( name ); }
   Zet::Ptr< PortState > portIs( Zet::Name name ) {
      return memberIs< &State::port >( port_, name );
   }
   Zet::Ptr< PortState > portDel( Zet::Name name ) { return port_.del( *this, name ); }
   void portNotify( Zet::Name name, Zet::Ptr< PortState > const& member ) {
      handleRemoved< &State::port >( name, *member );
   }
   using Ports = Notify::EntityCollection< &State::portNotify >;
   Ports::Members const& portMembers() const { return port_.members(); }

   // The checks of uplinks, by name.
   Zet::Ptr< CheckState > check( Zet::Name name ) const { return check_.find( name ); }
   Zet::Ptr< CheckState > checkIs( Zet::Name name ) {
      return memberIs< &State::check >( check_, name );
   }
   Zet::Ptr< CheckState > checkDel( Zet::Name name ) { return check_.del( *this, name ); }
   void checkNotify( Zet::Name name, Zet::Ptr< CheckState > const& member ) {
      handleRemoved< &State::check >( name, *member );
   }
   using Checks = Notify::EntityCollection< &State::checkNotify >;
   Checks::Members const& checkMembers() const { return check_.members(); }

 protected:
   ~State() override;

 private:
   friend class Notify::NotifyingEntity< State >;

   template < auto Get, class Collection >
   Zet::Ptr< typename Collection::Member > memberIs( Collection& collection,
                                                     Zet::Name const& name );
   template < auto Get > void handleRemoved( Zet::Name const& name, Zet::Entity& member );

   Zet::String8 version_;
   Zet::String8 revision_;
   double startTime_ = 0;
   double startWall_ = 0;
   Zet::String8 configFile_;
   double configTime_ = 0;
   double configWall_ = 0;
   unsigned int configSum_ = 0;
   double refusalTime_ = 0;
   Zet::String8 refusal_;
   double confirmTime_ = 0;
   Zet::String8 detection_;
   Protect protect_;
   unsigned int overruns_ = 0;
   unsigned int foundByAsking_ = 0;
   unsigned int acts_ = 0;
   unsigned int failedActs_ = 0;
   unsigned int openActs_ = 0;
   unsigned int failedOpenActs_ = 0;
   Reactions reactions_;
   double reactionSeconds_ = 0;
   bool isRecorded_ = true;
   unsigned int statusClients_ = 0;
   LogLines logLines_;
   unsigned int droppedLogLines_ = 0;
   Groups group_;
   Links link_;
   Ports port_;
   Checks check_;
   mutable NotifieeList notifiees_;
};

class State::NotifieeConst
    : public Notify::EntityNotifiee< State, Zet::Entity::NotifieeConst, Zet::Name, Zet::Name,
                                     Zet::Name, Zet::Name, Zet::Name, Zet::Name, Zet::Name > {
 public:
   void onVersion() override {}
   virtual void onStartTime() {}
   virtual void onConfigFile() {}
   virtual void onConfigTime() {}
   virtual void onRefusalTime() {}
   virtual void onRefusal() {}
   virtual void onDetection() {}
   virtual void onOverruns() {}
   virtual void onFoundByAsking() {}
   virtual void onActs() {}
   virtual void onFailedActs() {}
   virtual void onReactions( Zet::Name ) {}
   virtual void onGroup( Zet::Name ) {}
   virtual void onLink( Zet::Name ) {}
   virtual void onPort( Zet::Name ) {}
   virtual void onRevision() {}
   virtual void onStartWall() {}
   virtual void onConfigWall() {}
   virtual void onConfigSum() {}
   virtual void onOpenActs() {}
   virtual void onFailedOpenActs() {}
   virtual void onReactionSeconds() {}
   virtual void onIsRecorded() {}
   virtual void onStatusClients() {}
   virtual void onLogLines( Zet::Name ) {}
   virtual void onDroppedLogLines() {}
   virtual void onConfirmTime() {}
   virtual void onCheck( Zet::Name ) {}
   virtual void onProtect( Zet::Name ) {}
};

// Makes the types of this room known to introspection, and gives their objects generic interfaces.
// A process that only replicates them does not need it.
void registerStateTypes();

} // namespace Ufdd

extern template class Notify::LoggedEntity< Ufdd::State >;

template <> struct Notify::Description< Ufdd::State > {
   using T = Ufdd::State;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "State";
   static constexpr std::tuple attributes{
      Scalar< &T::version, &T::versionIs, &N::onVersion >{ 258, "version" },
      Scalar< &T::startTime, &T::startTimeIs, &N::onStartTime >{ 259, "startTime" },
      Scalar< &T::configFile, &T::configFileIs, &N::onConfigFile >{ 260, "configFile" },
      Scalar< &T::configTime, &T::configTimeIs, &N::onConfigTime >{ 261, "configTime" },
      Scalar< &T::refusalTime, &T::refusalTimeIs, &N::onRefusalTime >{ 262, "refusalTime" },
      Scalar< &T::refusal, &T::refusalIs, &N::onRefusal >{ 263, "refusal" },
      Scalar< &T::detection, &T::detectionIs, &N::onDetection >{ 264, "detection" },
      Scalar< &T::overruns, &T::overrunsIs, &N::onOverruns >{ 265, "overruns" },
      Scalar< &T::foundByAsking, &T::foundByAskingIs, &N::onFoundByAsking >{ 266, "foundByAsking" },
      Scalar< &T::acts, &T::actsIs, &N::onActs >{ 267, "acts" },
      Scalar< &T::failedActs, &T::failedActsIs, &N::onFailedActs >{ 268, "failedActs" },
      ValueCollectionRow< &T::reactions, &T::reactionsMembers, &T::reactionsIs, &T::reactionsDel,
                          &N::onReactions >{ 269, "reactions" },
      EntityCollectionRow< &T::group, &T::groupMembers, &T::groupIs, &T::groupDel, &N::onGroup >{
          270, "group" },
      EntityCollectionRow< &T::link, &T::linkMembers, &T::linkIs, &T::linkDel, &N::onLink >{
          271, "link" },
      EntityCollectionRow< &T::port, &T::portMembers, &T::portIs, &T::portDel, &N::onPort >{
          272, "port" },
      Scalar< &T::revision, &T::revisionIs, &N::onRevision >{ 273, "revision" },
      Scalar< &T::startWall, &T::startWallIs, &N::onStartWall >{ 274, "startWall" },
      Scalar< &T::configWall, &T::configWallIs, &N::onConfigWall >{ 275, "configWall" },
      Scalar< &T::configSum, &T::configSumIs, &N::onConfigSum >{ 276, "configSum" },
      Scalar< &T::openActs, &T::openActsIs, &N::onOpenActs >{ 277, "openActs" },
      Scalar< &T::failedOpenActs, &T::failedOpenActsIs, &N::onFailedOpenActs >{ 278,
                                                                                "failedOpenActs" },
      Scalar< &T::reactionSeconds, &T::reactionSecondsIs, &N::onReactionSeconds >{
          279, "reactionSeconds" },
      Scalar< &T::isRecorded, &T::isRecordedIs, &N::onIsRecorded >{ 280, "isRecorded" },
      Scalar< &T::statusClients, &T::statusClientsIs, &N::onStatusClients >{ 281, "statusClients" },
      ValueCollectionRow< &T::logLines, &T::logLinesMembers, &T::logLinesIs, &T::logLinesDel,
                          &N::onLogLines >{ 282, "logLines" },
      Scalar< &T::droppedLogLines, &T::droppedLogLinesIs, &N::onDroppedLogLines >{
          283, "droppedLogLines" },
      Scalar< &T::confirmTime, &T::confirmTimeIs, &N::onConfirmTime >{ 284, "confirmTime" },
      EntityCollectionRow< &T::check, &T::checkMembers, &T::checkIs, &T::checkDel, &N::onCheck >{
          285, "check" },
      ValueCollectionRow< &T::protect, &T::protectMembers, &T::protectIs, &T::protectDel,
                          &N::onProtect >{ 286, "protect" },
   };
};

namespace Ufdd {

template < auto Get, class Collection >
Zet::Ptr< typename Collection::Member >
State::memberIs( Collection& collection, Zet::Name const& name ) {
   if ( Zet::Ptr< typename Collection::Member > const member = collection.find( name ) )
      return member;
   auto const member = collection.newMember( *this, Notify::rowOf< State, Get >().id,
                                             Zet::make< typename Collection::Member >( name ) );
   notify< Get >( name );
   return member;
}

template < auto Get >
void
State::handleRemoved( Zet::Name const& name, Zet::Entity& member ) {
   member.parentIs( nullptr );
   notify< Get >( name );
}

} // namespace Ufdd
