#include "qvprj/project/PrjInfo.h"

#include "qvfd/Text.h"

namespace qvprj {

// Only the first byte of each text is set; the arrays are large and a NUL is all that a reader needs.
PrjInfo::PrjInfo() {
  qvfd::GenerateGUID(id);
  id[sizeof id - 1] = '\0';
  project_name[0] = '\0';
  operator_name[0] = '\0';
  date[0] = '\0';
  description[0] = '\0';
}

}  // namespace qvprj
