#pragma once

#include "agent/ctl/Screen.h"
#include "agent/ctl/View.h"

namespace Ufdd {

// How ufdctl puts into words what the view shows, in all of its commands.

// "12 s", "3 min", "2 h 5 min", "4 d 3 h"
std::string lastingText( double seconds );
// How long something takes: "0.5 s", "2 s", "3 min"
std::string delayText( double seconds );
// How long until then: "1.4 s", "20 s", "3 min"
std::string untilText( double time, Moment const& now );
// "12:30:00.123", with the date before it unless that is today's.
std::string clockText( double time, Moment const& now );
// ", 12 s"; empty for a time of 0, which is "never".
std::string ageText( double since, Moment const& now );

Emphasis emphasisOf( Severity severity );

// "no carrier, 12 s"; "check failed, 3 s: check bfd failed: Down, 3 in a row"
Line linkWords( LinkState const& link, Moment const& now );
// "down", "up, unknown", "down, but counts in 28 s": how a check counts, and why.
std::string checkText( CheckState const& check, Moment const& now );
// The same with its age and its last result: "down, 12 s: Down, 3 in a row"
Line checkWords( CheckState const& check, Moment const& now );
// "uplink1, uplink2"
std::string uplinksText( CheckState const& check );
// "shut (down)", "overridden by hand"
std::string portText( PortState const& port );
// The same with its age, and for an open port its link: "shut (down), 12 s", "open, no carrier, 3
// s"
Line portWords( PortState const& port, LinkState const& link, Moment const& now );
// "by protodown", "admin down", "through its members"
std::string meansText( PortMeans means );
// "up", in green
Span wordOf( UplinkFailureDetection::GroupLinkStatus status );
// "DOWN", "UP", "UNKNOWN"; not green if the group is up but does not act as usual.
Span statusWord( View::Group const& group );
// "0/2 up, needs 1"; "2/4 up, needs 2, 3 until recovered"
std::string countText( GroupState const& group );
// What its mode means; empty for a group that acts.
std::string modeText( GroupState const& group, Moment const& now );
// "recovery_delay: its ports are opened in 1.4 s if it stays up"; empty if it waits for nothing.
std::string waitText( GroupState const& group, Moment const& now );
// "there is a route default-route", "there are routes 10.0.0.0/8, default-route", for a
// releaseWhen.
std::string routeWords( Zet::String8 const& releaseWhen );
// "ordered down by user 0, 12 s ago, for another 2 h: new cable": what an operator has ordered
// about it; empty if nothing.
std::string orderText( GroupState const& group, Moment const& now );
std::string orderText( PortState const& port, Moment const& now );
// What concerns all groups: a configuration file that is not in force or has to be confirmed, a
// startup hold, checks that all failed at once.
std::vector< Line > notices( View const& view );
// The orders that stand, which are easily forgotten.
std::vector< Line > reminders( View const& view );

} // namespace Ufdd
