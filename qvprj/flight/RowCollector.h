// How the rows of a query of a flight database arrive. Private: not installed.
#pragma once

namespace qvprj {

/// The row callback of every such query. `user` points to a std::vector<std::string>, to which it appends
/// each value of the row in column order, in the local code page, or "NULL" where there is none. So value c
/// of row r is at r x columnCount + c. Returns 0: go on.
int CollectRow(void* user, int columnCount, char** values, char** names);

}  // namespace qvprj
