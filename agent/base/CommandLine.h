#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ufdd {

// What a program, or one command of it, can be given. Each variable keeps its value where the
// command line does not mention it; the help shows that value as the default.
// Borrows: the variables, until CommandLine::parse() has returned.
class Command {
 public:
   explicit Command( CLI::App& app ) : app_( app ) {}

   // Adds "NAME", which sets the variable.
   void flag( std::string const& name, bool& isSet, std::string const& help );
   // Adds "NAME TYPE", where TYPE is a word of the help.
   void option( std::string const& name, std::string const& type, std::string& value,
                std::string const& help );
   // Adds "NAME TYPE" for a whole number from 1 to `most`.
   void option( std::string const& name, std::string const& type, int& value, int most,
                std::string const& help );
   // Adds "NAME TYPE...".
   void option( std::string const& name, std::string const& type,
                std::vector< std::string >& values, std::string const& help );
   // Adds a word that follows the options.
   void argument( std::string const& name, std::string& value, std::string const& help );
   // Prints the text below the help.
   void footer( std::string const& text );

 protected:
   CLI::App& app_;
};

// Reads a command line. Prints the help, the version and what is wrong.
class CommandLine : public Command {
 public:
   CommandLine( std::string const& program, std::string const& version,
                std::string const& purpose );
   ~CommandLine();
   CommandLine( CommandLine const& ) = delete;
   CommandLine& operator=( CommandLine const& ) = delete;

   // Adds a command, which parse() runs; the program needs one from then on. The options of the
   // program may follow the command.
   Command command( std::string const& name, std::string const& purpose,
                    std::function< void() > run );

   // Returns the exit status when the program has nothing more to do.
   // Throws: what the command throws.
   std::optional< int > parse( int argc, char** argv );
   // Prints what is wrong and returns the exit status.
   int refuse( std::string const& error ) const;

 private:
   explicit CommandLine( std::unique_ptr< CLI::App > app );
   std::string complaintAbout( std::string const& word ) const;

   std::unique_ptr< CLI::App > const app_;
};

} // namespace Ufdd
