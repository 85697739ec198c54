// What has to hold of every project that was opened, whatever it was opened from.
#pragma once

#include <string>

#include "qvprj/project/QvProject.h"

namespace fuzz {

/// Saves `project` as `name`.db in `folder`, opens it again and requires that it is the same: but for what is
/// not stored, and tie points in images that the project does not have. Then requires the same of its
/// features and matches in tables of a database, and of a second save: its files are the same byte for byte.
void RequireSavesAndOpensTheSame(qvprj::QvProject project, const std::string& folder,
                                 const std::string& name);

}  // namespace fuzz
