// A catalogue of projects: one row each in a table of a GeoPackage or of a PostGIS database. docs/gis.md
// lists its columns and says how it is kept up to date.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "interchange/Report.h"
#include "interchange/project/WorldFrame.h"

namespace interchange {

struct CatalogOptions {
  std::vector<std::string> folders;  ///< that are walked; at least one
  std::string target;                ///< a GeoPackage, or a connection string
  bool check = true;                 ///< whether each project is checked too: that reads its track file
  ProjectOptions project;            ///< which orientations and positions make the footprint
};

/// The table, and the states that a row can be in.
inline constexpr const char* kCatalogTable = "projects";
inline constexpr const char* kCatalogued = "ok";
inline constexpr const char* kUnreadable = "unreadable";
inline constexpr const char* kGone = "gone";

/// Walks the folders and brings the table up to date: a row a project, known by the absolute path of its
/// database.
///
/// - A project is a file that begins as a database does and has the table "data_project"; its extension says
///   nothing. Other files and databases are passed over. Links to folders are not followed, and a folder is
///   not walked deeper than 64 levels.
/// - Projects whose two files have the size and the time of last change that their row has are not opened,
///   unless the row lacks what is asked for now: a check.
/// - One that cannot be opened gets a row with the reason, and is tried again every time.
/// - Rows below the folders whose database is there no more are marked as gone, and nothing else of them is
///   changed; when it comes back the row does too.
///
/// Rows are written in batches, each a transaction; a run that ends early leaves those that were done.
/// `progress`, if there is one, is called with each project that is opened. The report counts as read
/// "folders", "files" and "projects", as written "new", "changed", "unchanged", "unreadable" (among the new
/// and changed) and "gone"; its notes name folders and projects that could not be read.
///
/// Throws `Failure` when one of the folders is none, or the table cannot be opened or written. Projects are
/// not changed.
Report UpdateCatalog(const CatalogOptions& options,
                     const std::function<void(const std::string& project)>& progress = {});

}  // namespace interchange
