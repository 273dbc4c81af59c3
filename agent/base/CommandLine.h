#pragma once

#include "agent/base/Completion.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Ufdd {

// A positional argument, which the command line may leave out.
class Argument {
 public:
   explicit Argument( CLI::Option& option ) : option_( option ) {}

   // Refuses a command line without it.
   Argument& required();
   // Refuses every other value.
   Argument& oneOf( std::vector< std::string > const& values );

 private:
   CLI::Option& option_;
};

// The flags, options and arguments of a program or of one of its commands. A variable that the
// command line does not mention keeps its value, which the help shows as the default.
// Borrows: the variables, until CommandLine::parse() has returned.
class Command {
 public:
   explicit Command( CLI::App& app ) : app_( app ) {}

   // Adds "NAME", which sets the variable.
   void flag( std::string const& name, bool& isSet, std::string const& help );
   // Adds "NAME TYPE". TYPE appears only in the help.
   void option( std::string const& name, std::string const& type, std::string& value,
                std::string const& help );
   // Adds "NAME TYPE" for a whole number from 1 to `most`.
   void option( std::string const& name, std::string const& type, int& value, int most,
                std::string const& help );
   // Adds "NAME TYPE" for a number above 0.
   void option( std::string const& name, std::string const& type, double& value,
                std::string const& help );
   // Adds "NAME TYPE...".
   void option( std::string const& name, std::string const& type,
                std::vector< std::string >& values, std::string const& help );
   // Adds "NAME TYPE,TYPE...", which may be given again.
   void list( std::string const& name, std::string const& type, std::vector< std::string >& values,
              std::string const& help );
   // Adds "NAME TIME" for a time above 0: "90", "90s", "15m", "2h" or "1d".
   void duration( std::string const& name, std::optional< double >& seconds,
                  std::string const& help );
   Argument argument( std::string const& name, std::string& value, std::string const& help );
   // Adds arguments of one kind, as many as are given.
   Argument arguments( std::string const& name, std::vector< std::string >& values,
                       std::string const& help );
   // Prints the text below the help.
   void footer( std::string const& text );

 protected:
   CLI::App& app_;
};

// Reads the command line of a program. Prints the help, the version, or what is wrong with it.
class CommandLine : public Command {
 public:
   CommandLine( std::string const& program, std::string const& version,
                std::string const& purpose );
   ~CommandLine();
   CommandLine( CommandLine const& ) = delete;
   CommandLine& operator=( CommandLine const& ) = delete;

   // Adds a command; parse() calls `run` when it is given, and returns its exit status. From then
   // on the program requires one. The program's own options may stand behind the command as well.
   Command command( std::string const& name, std::string const& purpose,
                    std::function< int() > run );
   // Runs that command when none is given, also with options of its own.
   void defaultCommand( std::string const& name ) { default_ = name; }

   // Returns the exit status if the program is to end now, else nothing.
   // Throws: what the command throws.
   std::optional< int > parse( int argc, char** argv );
   // Prints the error and a pointer to the help. Returns the exit status for a wrong command line.
   int refuse( std::string const& error );
   // Returns the last error that was printed.
   std::string const& refusal() const { return refusal_; }

   // Returns what the last of the words may become; they follow the name of the program.
   Completion completion( std::vector< std::string > words ) const;

 private:
   explicit CommandLine( std::unique_ptr< CLI::App > app );
   bool needsDefault() const;
   std::string complaintAbout( std::string const& word ) const;

   std::unique_ptr< CLI::App > const app_;
   std::string default_;
   std::string refusal_;
   std::optional< int > status_; // Of the command that was run.
};

} // namespace Ufdd
