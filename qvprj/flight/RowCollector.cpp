#include "qvprj/flight/RowCollector.h"

#include <string>
#include <vector>

#include "qvfd/Text.h"

namespace qvprj {

int CollectRow(void* user, int columnCount, char** values, char** /*names*/) {
  auto& cells = *static_cast<std::vector<std::string>*>(user);
  for (int column = 0; column < columnCount; ++column) {
    const char* const value = values[column];
    cells.push_back(qvfd::StringConverter::FromUTF8(value == nullptr ? "NULL" : value));
  }
  return 0;
}

}  // namespace qvprj
