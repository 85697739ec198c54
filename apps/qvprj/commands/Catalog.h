// qvprj catalog: brings a catalogue of the projects below some folders up to date.
#pragma once

#include "common/Interchange.h"
#include "common/Program.h"
#include "interchange/mapping/Catalog.h"

namespace qvapp {

struct CatalogCommandOptions {
  interchange::CatalogOptions catalog;  ///< without `project` and `check`
  ConventionOptions conventions;
  bool unchecked = false;  ///< `catalog.check` the other way round
  bool json = false;
};

/// Returns the exit code; results go to `console.out`, a failure is one line on `console.err`.
int RunCatalog(const CatalogCommandOptions& options, Console& console);

void AddCatalog(CLI::App& program, Action& action);

}  // namespace qvapp
