// The rows of a damaged table.
//
// A table is a tree of pages by row id. A damaged page stops a scan, but not one that begins behind it. So a
// range of row ids that cannot be read to its end is cut in two behind the last row that came, again and
// again; what remains are single row ids on damaged pages. The widest ranges go first, so that a bounded
// number of tries finds the large pieces.

#include "qvprj/check/RowSalvage.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <queue>
#include <string_view>
#include <utility>

#include "detail/NumberText.h"
#include "qvprj/check/FoundTables.h"
#include "qvprj/check/Query.h"

namespace qvprj {
namespace {

/// How many ranges of a table are tried: every row takes several bytes and up to two tries, and where row ids
/// lie far apart, the ranges between the rows of a damaged page would never come to an end.
std::size_t MostTries(std::uintmax_t fileBytes) {
  constexpr std::uintmax_t kMost = 200'000;
  return static_cast<std::size_t>(std::min(kMost, 4'000 + fileBytes / 8));
}

/// How far behind the last row is looked for more, where the end of the table is damaged; and after how many
/// tries without one row this is given up.
constexpr std::int64_t kLookBehind = 65'536;
constexpr std::size_t kMostTriesInVain = 4'000;

struct Range {
  std::int64_t first;
  std::int64_t last;

  [[nodiscard]] std::uint64_t Width() const {
    return static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first) + 1;
  }
  friend bool operator<(const Range& a, const Range& b) { return a.Width() < b.Width(); }
};

std::vector<std::string> CellsOf(std::span<char* const> row) {
  std::vector<std::string> cells;
  cells.reserve(row.size());
  for (const char* const cell : row) {
    cells.emplace_back(cell == nullptr ? "" : cell);
  }
  return cells;
}

/// 1 for a row with a NUL in a text; 0 or NULL for others.
std::string HasNul(const RowColumns& columns) {
  std::string condition = "0";
  for (const std::string& text : columns.texts) {
    condition += " OR instr(" + text + ", char(0))";
  }
  return condition;
}

class Salvage {
 public:
  Salvage(qvsql::Database& database, const std::string& table, const RowColumns& columns,
          std::size_t mostTries)
      : database_(database),
        columns_(columns),
        table_(" FROM " + Identifier(table)),
        hasNul_(HasNul(columns)),
        from_("SELECT rowid, " + hasNul_ + columns.expressions + table_),
        tries_left_(mostTries) {}

  /// Reads the rows of a condition and order. False when the engine stopped before their end.
  bool Read(const std::string& where, std::optional<std::int64_t>& lastRead) {
    std::optional<Range> withNul;
    const bool toTheEnd = ForEachRow(database_, from_ + where, [&](std::span<char* const> cells) {
      const auto id = cells[0] == nullptr ? std::nullopt : qvdetail::WholeInteger(cells[0]);
      if (!id) {
        return;
      }
      if (cells[1] != nullptr && *cells[1] == '1') {
        withNul = {std::min(*id, withNul ? withNul->first : *id),
                   std::max(*id, withNul ? withNul->last : *id)};
      }
      rows_[*id] = CellsOf(cells.subspan(2));
      lastRead = *id;
    });
    if (withNul) {
      ReadTextsWithNul(*withNul);
    }
    return toTheEnd;
  }

  /// Searches a range; gives up after `mostInVain` tries without a row. Single row ids that cannot be read, and
  /// what there were no tries for, count as lost.
  std::size_t Search(const Range& all, std::size_t mostInVain) {
    std::size_t lost = 0;
    const std::size_t atFirst = tries_left_;
    const std::size_t before = rows_.size();
    std::priority_queue<Range> ranges;
    ranges.push(all);
    while (!ranges.empty()) {
      const Range range = ranges.top();
      ranges.pop();
      if (tries_left_ == 0 || (atFirst - tries_left_ >= mostInVain && rows_.size() == before)) {
        lost += range.Width();
        lost_.emplace_back(range.first, range.last);
        continue;
      }
      --tries_left_;
      std::optional<std::int64_t> last;
      const std::string where = " WHERE rowid BETWEEN " + std::to_string(range.first) + " AND " +
                                std::to_string(range.last) + " ORDER BY rowid";
      if (Read(where, last)) {
        continue;
      }
      if (last && *last >= range.last) {
        continue;  // the last row of the range came, and then the damage behind it
      }
      const std::int64_t first = last ? std::max(range.first, *last + 1) : range.first;
      const Range rest{first, range.last};
      if (rest.Width() == 1) {
        ++lost;
        lost_.emplace_back(first, first);
        continue;
      }
      const std::int64_t middle = first + static_cast<std::int64_t>(rest.Width() / 2);
      ranges.push({first, middle - 1});
      ranges.push({middle, range.last});
    }
    return lost;
  }

  /// Reads the texts with a NUL in rows that have been read: a row gives a text up to its first NUL only.
  void ReadTextsWithNul(const Range& range) {
    std::string select = "SELECT rowid";
    for (const std::string& text : columns_.texts) {
      select += ", hex(" + text + ")";
    }
    const std::string where = " WHERE rowid BETWEEN " + std::to_string(range.first) + " AND " +
                              std::to_string(range.last) + " AND (" + hasNul_ + ")";
    static_cast<void>(ForEachRow(database_, select + table_ + where, [&](std::span<char* const> cells) {
      const auto row = rows_.find(cells[0] == nullptr ? 0 : qvdetail::WholeInteger(cells[0]).value_or(0));
      if (row == rows_.end()) {
        return;
      }
      for (std::size_t i = 0; i < columns_.texts.size(); ++i) {
        const std::string_view digits = cells[i + 1] == nullptr ? "" : cells[i + 1];
        std::string text = TextOf(BytesOfDigits(digits), columns_.encoding);
        if (text.find('\0') != std::string::npos) {
          row->second[columns_.text_positions[i]] = std::move(text);
        }
      }
    }));
  }

  [[nodiscard]] std::optional<std::int64_t> LastId() const {
    return rows_.empty() ? std::nullopt : std::optional(rows_.rbegin()->first);
  }

  SalvagedRows Take(std::size_t lost, bool endUnknown) {
    std::sort(lost_.begin(), lost_.end());
    SalvagedRows salvaged{{}, {}, lost, endUnknown, std::move(lost_)};
    salvaged.rows.reserve(rows_.size());
    salvaged.ids.reserve(rows_.size());
    for (auto& entry : rows_) {
      salvaged.ids.push_back(entry.first);
      salvaged.rows.push_back(std::move(entry.second));
    }
    return salvaged;
  }

 private:
  qvsql::Database& database_;
  const RowColumns& columns_;
  std::string table_;
  std::string hasNul_;
  std::string from_;
  std::size_t tries_left_;
  std::map<std::int64_t, std::vector<std::string>> rows_;
  std::vector<std::pair<std::int64_t, std::int64_t>> lost_;
};

/// How many row ids behind `behind` are between the pages of a scan, or on them and cannot be read.
std::size_t LostBehind(std::int64_t behind, const ScannedRows& scanned) {
  const auto broken = std::upper_bound(scanned.broken.begin(), scanned.broken.end(), behind);
  auto lost = static_cast<std::size_t>(scanned.broken.end() - broken);
  if (scanned.whole) {
    return lost;
  }
  for (const auto& [first, last] : scanned.pages) {
    if (first > behind) {
      lost += static_cast<std::size_t>(first) - static_cast<std::size_t>(behind) - 1;
    }
    behind = std::max(behind, last);
  }
  return lost;
}

/// A table whose rows have no ids can only be read from its start.
SalvagedRows ReadForward(qvsql::Database& database, const std::string& table, const RowColumns& columns) {
  SalvagedRows salvaged;
  salvaged.end_unknown =
      !ForEachRow(database, "SELECT NULL" + columns.expressions + " FROM " + Identifier(table),
                  [&](std::span<char* const> cells) { salvaged.rows.push_back(CellsOf(cells.subspan(1))); });
  return salvaged;
}

}  // namespace

void RowColumns::Add(const std::string& name, int type) {
  const std::string column = Identifier(name);
  if (type == qvsql::kTextColumn) {
    texts.push_back(column);
    text_positions.push_back(count);
  }
  expressions += type == qvsql::kBlobColumn ? ", hex(" + column + ")" : ", " + column;
  ++count;
}

SalvagedRows SalvageRows(qvsql::Database& database, const std::string& table, const RowColumns& columns,
                         std::uintmax_t fileBytes) {
  if (!database.ExecSQL("SELECT rowid FROM " + Identifier(table) + " LIMIT 0", nullptr, nullptr)) {
    return ReadForward(database, table, columns);
  }
  const std::size_t mostTries = MostTries(fileBytes);
  Salvage salvage(database, table, columns, mostTries);
  std::optional<std::int64_t> low;
  if (salvage.Read(" ORDER BY rowid", low)) {
    return salvage.Take(0, false);
  }
  std::optional<std::int64_t> high;
  const std::string behind = low ? " WHERE rowid > " + std::to_string(*low) : "";
  if (salvage.Read(behind + " ORDER BY rowid DESC", high)) {
    return salvage.Take(0, false);
  }
  if (low == std::numeric_limits<std::int64_t>::max()) {
    return salvage.Take(0, true);
  }
  const std::int64_t first = low ? *low + 1 : 1;
  if (high) {
    return salvage.Take(*high > first ? salvage.Search({first, *high - 1}, mostTries) : 0, false);
  }
  // The end of the table is damaged too: how far its row ids went cannot be told.
  std::size_t lost = 0;
  for (std::int64_t from = first; from <= std::numeric_limits<std::int64_t>::max() - kLookBehind;) {
    const std::size_t lostInRange = salvage.Search({from, from + kLookBehind - 1}, kMostTriesInVain);
    const auto last = salvage.LastId();
    if (!last || *last < from) {
      break;
    }
    // What cannot be read behind the last row that came may never have been there.
    const auto behindLast = static_cast<std::size_t>(from + kLookBehind - 1 - *last);
    lost += lostInRange - std::min(lostInRange, behindLast);
    from = *last + 1;
  }
  return salvage.Take(lost, true);
}

std::size_t AddScanned(ScannedRows scanned, SalvagedRows& salvaged) {
  const std::int64_t last = salvaged.ids.empty() ? 0 : salvaged.ids.back();
  const auto isLost = [&](std::int64_t id) {
    const auto behind = std::upper_bound(salvaged.lost_ids.begin(), salvaged.lost_ids.end(), id,
                                         [](std::int64_t a, const auto& range) { return a < range.first; });
    return behind != salvaged.lost_ids.begin() && std::prev(behind)->second >= id;
  };
  if (!salvaged.ids.empty()) {
    std::erase_if(scanned.rows, [&](const ScannedRow& row) { return row.id <= last && !isLost(row.id); });
    const auto filled = std::count_if(scanned.rows.begin(), scanned.rows.end(),
                                      [&](const ScannedRow& row) { return row.id <= last; });
    salvaged.lost -= std::min(salvaged.lost, static_cast<std::size_t>(filled));
  }
  salvaged.lost += LostBehind(last, scanned);

  SalvagedRows merged{{}, {}, salvaged.lost, salvaged.end_unknown, {}};
  merged.rows.reserve(salvaged.rows.size() + scanned.rows.size());
  merged.ids.reserve(salvaged.rows.size() + scanned.rows.size());
  auto row = scanned.rows.begin();
  const auto takeScannedBefore = [&](std::int64_t id) {
    for (; row != scanned.rows.end() && row->id < id; ++row) {
      merged.rows.push_back(std::move(row->cells));
      merged.ids.push_back(row->id);
    }
  };
  for (std::size_t i = 0; i < salvaged.rows.size(); ++i) {
    takeScannedBefore(salvaged.ids[i]);
    merged.rows.push_back(std::move(salvaged.rows[i]));
    merged.ids.push_back(salvaged.ids[i]);
  }
  for (; row != scanned.rows.end(); ++row) {
    merged.rows.push_back(std::move(row->cells));
    merged.ids.push_back(row->id);
  }
  salvaged = std::move(merged);
  return scanned.rows.size();
}

}  // namespace qvprj
