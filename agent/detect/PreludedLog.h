#pragma once

#include "agent/base/Log.h"

namespace Ufdd {

// A log in which each line has something else told before it, that was put off until then.
class PreludedLog final : public Log {
 public:
   class Prelude {
    public:
      virtual void tell() = 0;

    protected:
      ~Prelude() = default;
   };

   // Borrows: log.
   explicit PreludedLog( Log& log ) : log_( log ) {}
   // Borrows: prelude.
   void preludeIs( Prelude& prelude ) { prelude_ = &prelude; }

   void line( std::string_view text ) override { event( {}, text ); }
   void event( LogEvent const& about, std::string_view text ) override {
      if ( prelude_ )
         prelude_->tell();
      log_.event( about, text );
   }

 private:
   Log& log_;
   Prelude* prelude_ = nullptr;
};

} // namespace Ufdd
