#pragma once

#include "agent/ctl/View.h"

#include <nlohmann/json.hpp>

#include <string>

namespace Ufdd {

// What ufdctl writes for programs: one object, described by ufdctl.schema.json. Attributes have the
// names of their rows, enumerators their texts; a time is in UTC, or null for "never".
using Json = nlohmann::ordered_json;

// Returns the beginning of every object: the version of the format, the command, and the time.
Json jsonOf( std::string const& command, Moment const& now );
// Returns the object that stands for the one that is not there because ufdctl failed.
Json failureJson( std::string const& error, int exitStatus );
Json json( View::Group const& group, Moment const& now );
Json json( CheckState const& check, Moment const& now );
Json json( LinkState const& link, Moment const& now );
Json json( PortState const& port, Moment const& now );
// Returns the object of `ufdctl show`.
Json json( View const& view );

// Returns the object as text on one line, or on one line for each member.
std::string lineOf( Json const& object );
std::string pageOf( Json const& object );

} // namespace Ufdd
