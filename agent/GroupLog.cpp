#include "agent/GroupLog.h"

#include "agent/Observing.h"
#include "model/GroupStatus.h"

#include <string>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;
using UplinkFailureDetection::Status;

class GroupLog::StatusObserver final : public Status::NotifieeConst {
 public:
   explicit StatusObserver( GroupLog& log ) : log_( log ) {}
   void onGroup( Zet::Name name ) override { log_.handleGroup( name ); }

 private:
   GroupLog& log_;
};

class GroupLog::GroupObserver final : public GroupStatus::NotifieeConst {
 public:
   explicit GroupObserver( GroupLog& log ) : log_( log ) {}
   void onGroupLinkStatus() override {
      GroupLinkStatus const now = notifier()->groupLinkStatus();
      log_.handleTransition( notifier()->name(), std::exchange( linkStatus_, now ), now );
   }

 private:
   GroupLog& log_;
   GroupLinkStatus linkStatus_ = GroupLinkStatus::unknown;
};

GroupLog::GroupLog( Detector const& detector, LinkDirectory const& links, Log& log )
    : detector_( detector ), links_( links ), log_( log ),
      statusObserver_( observing< StatusObserver >( detector.status, *this ) ) {}

GroupLog::~GroupLog() = default;

void
GroupLog::handleGroup( Zet::Name const& name ) {
   if ( auto const group = detector_.status->group( name ) )
      groups_[ name ] = observing< GroupObserver >( group, *this );
   else
      groups_.erase( name );
}

void
GroupLog::handleTransition( Zet::Name const& name, GroupLinkStatus before, GroupLinkStatus now ) {
   Zet::Ptr< GroupConfig > const group = detector_.config->group( name );
   LinkNews const& news = links_.news();
   std::string const reason = news.kind == LinkNews::Kind::none ? "configured"
                              : group && group->intfsToMonitor( news.port )
                                  ? "uplink " + news.text()
                                  : news.text();
   log_.line( "group " + std::string( name.view() ) + ": " +
              std::string( stringValue( before ).view() ) + " -> " +
              std::string( stringValue( now ).view() ) + ", " +
              ( group ? detector_.countOf( *group ) : "" ) + ": " + reason );
}

} // namespace Ufdd
