#include "agent/base/CommandLine.h"

#include "agent/base/NearestWord.h"
#include "agent/base/Printable.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iostream>
#include <iterator>
#include <string_view>
#include <sysexits.h>
#include <utility>

namespace Ufdd {

namespace {

std::vector< std::string >
optionsOf( CLI::App const& app ) {
   std::vector< std::string > names;
   for ( CLI::Option const* const option : app.get_options() )
      for ( std::string const& name : option->get_lnames() )
         names.push_back( "--" + name );
   return names;
}

// Returns nothing unless the text is a time above 0.
std::optional< double >
secondsOf( std::string_view text ) {
   constexpr std::string_view units = "smhd";
   constexpr std::array lengths{ 1., 60., 3600., 86400. };
   double unit = 1;
   if ( auto const at = text.empty() ? units.npos : units.find( text.back() ); at != units.npos ) {
      unit = lengths[ at ];
      text.remove_suffix( 1 );
   }
   double number = 0;
   auto const [ end, error ] =
       std::from_chars( text.data(), text.data() + text.size(), number, std::chars_format::fixed );
   bool const isNumber = error == std::errc() && end == text.data() + text.size();
   return isNumber && number > 0 && std::isfinite( number ) ? std::optional( number * unit )
                                                            : std::nullopt;
}

} // namespace

void
Command::flag( std::string const& name, bool& isSet, std::string const& help ) {
   app_.add_flag( name, isSet, help );
}

void
Command::option( std::string const& name, std::string const& type, std::string& value,
                 std::string const& help ) {
   auto* const option = app_.add_option( name, value, help )->type_name( type );
   if ( !value.empty() )
      option->capture_default_str();
}

void
Command::option( std::string const& name, std::string const& type, int& value, int most,
                 std::string const& help ) {
   app_.add_option( name, value, help )
       ->type_name( type )
       ->check( CLI::Range( 1, most ) )
       ->capture_default_str();
}

void
Command::option( std::string const& name, std::string const& type,
                 std::vector< std::string >& values, std::string const& help ) {
   app_.add_option( name, values, help )->type_name( type );
}

void
Command::option( std::string const& name, std::string const& type, double& value,
                 std::string const& help ) {
   app_.add_option( name, value, help )
       ->type_name( type )
       ->check( CLI::Validator(
           []( std::string const& text ) {
              double number = 0;
              return CLI::detail::lexical_cast( text, number ) && number > 0
                         ? std::string()
                         : "\"" + text + "\" is no number above 0";
           },
           "" ) );
}

void
Command::list( std::string const& name, std::string const& type, std::vector< std::string >& values,
               std::string const& help ) {
   app_.add_option( name, values, help )
       ->type_name( type )
       ->delimiter( ',' )
       ->allow_extra_args( false );
}

void
Command::duration( std::string const& name, std::optional< double >& seconds,
                   std::string const& help ) {
   app_.add_option_function< std::string >(
           name, [ &seconds ]( std::string const& text ) { seconds = secondsOf( text ); }, help )
       ->type_name( "TIME" )
       ->check( CLI::Validator(
           []( std::string const& text ) {
              return secondsOf( text ) ? std::string()
                                       : "\"" + text + "\" is no time such as 90s, 15m, 2h or 1d";
           },
           "" ) );
}

Argument
Command::arguments( std::string const& name, std::vector< std::string >& values,
                    std::string const& help ) {
   return Argument( *app_.add_option( name, values, help )->type_name( "" ) );
}

Argument
Command::argument( std::string const& name, std::string& value, std::string const& help ) {
   return Argument( *app_.add_option( name, value, help )->type_name( "" ) );
}

Argument&
Argument::required() {
   option_.required();
   return *this;
}

Argument&
Argument::oneOf( std::vector< std::string > const& values ) {
   option_.check( CLI::IsMember( values ) );
   return *this;
}

void
Command::footer( std::string const& text ) {
   app_.footer( text );
}

CommandLine::CommandLine( std::string const& program, std::string const& version,
                          std::string const& purpose )
    : CommandLine( std::make_unique< CLI::App >( purpose, program ) ) {
   app_->set_version_flag( "--version", program + ' ' + version, "Print the version and exit" );
}

CommandLine::CommandLine( std::unique_ptr< CLI::App > app )
    : Command( *app ), app_( std::move( app ) ) {}

CommandLine::~CommandLine() = default;

Command
CommandLine::command( std::string const& name, std::string const& purpose,
                      std::function< int() > run ) {
   app_->require_subcommand( 1 );
   CLI::App* const command = app_->add_subcommand( name, purpose );
   command->fallthrough();
   command->callback( [ this, run = std::move( run ) ] { status_ = run(); } );
   return Command( *command );
}

std::optional< int >
CommandLine::parse( int argc, char** argv ) {
   try {
      try {
         app_->parse( argc, argv );
      } catch ( CLI::RequiredError const& ) {
         if ( !needsDefault() )
            throw;
         std::vector< char const* > words( argv, argv + argc );
         words.insert( words.begin() + 1, default_.c_str() );
         app_->parse( static_cast< int >( words.size() ), words.data() );
      }
   } catch ( CLI::Success const& done ) {
      return app_->exit( done );
   } catch ( CLI::ParseError const& error ) {
      // A misspelt command is also reported as a missing one; name the misspelt word instead.
      auto const left = app_->remaining( true );
      if ( !left.empty() )
         return refuse( complaintAbout( left.front() ) );
      return refuse( error.what() );
   }
   return status_;
}

// Returns true if no word of the command line could be a command.
bool
CommandLine::needsDefault() const {
   auto const left = app_->remaining( true );
   return !default_.empty() && app_->get_subcommands().empty() &&
          std::ranges::all_of( left, []( auto const& word ) { return word.starts_with( '-' ); } );
}

int
CommandLine::refuse( std::string const& error ) {
   refusal_ = error;
   std::string const& program = app_->get_name();
   std::cerr << program << ": " << printable( error ) << "\nSee \"" << program << " --help\".\n";
   return EX_USAGE;
}

// Says what kind of word is unknown, and names the nearest known one.
std::string
CommandLine::complaintAbout( std::string const& word ) const {
   std::string kind = "argument";
   std::vector< std::string > known;
   auto const commands = app_->get_subcommands();
   if ( word.starts_with( '-' ) ) {
      kind = "option";
      known = optionsOf( *app_ );
      for ( CLI::App const* const command : commands )
         std::ranges::copy( optionsOf( *command ), std::back_inserter( known ) );
   } else if ( commands.empty() ) {
      for ( CLI::App const* const command : app_->get_subcommands( nullptr ) )
         known.push_back( command->get_name() );
      kind = known.empty() ? kind : "command";
   }
   std::vector< std::string_view > const words( known.begin(), known.end() );
   auto const nearest = nearestWord( word, words );
   return "unknown " + kind + " \"" + word + '"' +
          ( nearest ? "; did you mean " + std::string( *nearest ) + '?' : "" );
}

namespace {

bool
takesValue( CLI::Option const& option ) {
   return option.get_items_expected_max() > 0;
}

// Returns the option that is written so, of the command or else of the program.
CLI::Option const*
optionCalled( std::string const& word, CLI::App const& command, CLI::App const& program ) {
   CLI::Option const* const option = command.get_option_no_throw( word );
   return option ? option : program.get_option_no_throw( word );
}

} // namespace

Completion
CommandLine::completion( std::vector< std::string > words ) const {
   Completion found;
   if ( words.empty() )
      return found;
   found.begin = words.back();
   words.pop_back();
   CLI::App const& program = *app_;
   CLI::App const* command = &program;
   CLI::Option const* open = nullptr; // The option whose value is next.
   std::size_t arguments = 0;
   for ( std::string const& word : words )
      if ( open ) {
         open = nullptr;
      } else if ( word.starts_with( '-' ) ) {
         CLI::Option const* const option = optionCalled( word, *command, program );
         open = option && takesValue( *option ) ? option : nullptr;
      } else if ( command == &program ) {
         auto const named = program.get_subcommands(
             [ & ]( CLI::App const* known ) { return known->get_name() == word; } );
         if ( named.empty() )
            return found;
         command = named.front();
      } else {
         ++arguments;
      }
   if ( open ) {
      found.value = open->get_type_name();
      return found;
   }
   auto const offer = [ & ]( std::string const& word ) {
      if ( word.starts_with( found.begin ) )
         found.words.push_back( word );
   };
   if ( found.begin.starts_with( '-' ) ) {
      std::ranges::for_each( optionsOf( *command ), offer );
      if ( command != &program )
         std::ranges::for_each( optionsOf( program ), offer );
   } else if ( command == &program ) {
      for ( CLI::App const* const known : program.get_subcommands( {} ) )
         offer( known->get_name() );
   } else {
      for ( CLI::Option const* const option : command->get_options() )
         if ( option->get_positional() &&
              ( arguments-- == 0 || option->get_items_expected_max() > 1 ) )
            found.value = option->get_name( true );
   }
   return found;
}

} // namespace Ufdd
