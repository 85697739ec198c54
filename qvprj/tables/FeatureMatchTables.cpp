// The tables "data_feature", one row an image, and "data_match", one row an image pair: tie points in the
// database, for hosts that want them there.
//
// Blobs, little-endian, with neither header nor count (the row has the count n):
//   "feature_data"  n x (x:f32 y:f32)                 8 n bytes
//   "match_data"    n x (index:i32 index:i32)         8 n bytes, as written
//                   n x (index:u16 index:u16)         4 n bytes, also accepted on reading
// The first index of a pair counts the features of the left image, the second those of the right one.

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "detail/NoThrow.h"
#include "qvfd/ByteStream.h"
#include "qvprj/project/QvProject.h"
#include "qvprj/tables/TableSchema.h"

namespace qvprj {
namespace {

using qvfd::Point2_T;

constexpr char kFeatureTable[] = "data_feature";
constexpr char kMatchTable[] = "data_match";

struct FeatureRow {
  int imageId = 0;
  int count = 0;
};

using FeatureCol = Columns<FeatureRow>;

constexpr std::array kFeatureColumns = {
    FeatureCol::Integer<&FeatureRow::imageId>("image_id"),
    FeatureCol::Integer<&FeatureRow::count>("feature_count"),
    FeatureCol::Blob("feature_data"),
};

struct MatchRow {
  Point2_T<int> pair;
  int count = 0;
};

using MatchCol = Columns<MatchRow>;

constexpr std::array kMatchColumns = {
    MatchCol::Integer<&MatchRow::pair, &Point2_T<int>::x>("left_image_id"),
    MatchCol::Integer<&MatchRow::pair, &Point2_T<int>::y>("right_image_id"),
    MatchCol::Integer<&MatchRow::count>("match_count"),
    MatchCol::Blob("match_data"),
};

/// Bounds the memory and the transaction that one call of AddRecords takes.
constexpr std::size_t kMatchBatch = 100000;

/// Rows on their way into a table with a blob column, which is its last one. Blobs stay where they are in
/// memory.
template <class Row>
class BlobRows {
 public:
  BlobRows(const char* table, std::span<const Column<Row>> schema) : table_(table), schema_(schema) {}

  [[nodiscard]] std::size_t Count() const { return blobs_.size(); }

  /// False when the elements are more bytes than a row can say.
  template <class Element>
  [[nodiscard]] bool Append(Row row, const std::vector<Element>& elements) {
    static_assert(sizeof(Element) == 8);
    if (elements.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) / sizeof(Element)) {
      return false;
    }
    row.count = static_cast<int>(elements.size());
    AppendRow(schema_, row, cells_);
    blobs_.push_back(const_cast<Element*>(elements.data()));
    sizes_.push_back(static_cast<int>(elements.size() * sizeof(Element)));
    return true;
  }

  /// Adds all rows to the table and begins anew.
  [[nodiscard]] bool Flush(qvsql::Database& database) {
    const int columns = static_cast<int>(schema_.size());
    const bool added =
        database.AddRecords(table_, cells_, columns, columns - 1, std::move(blobs_), std::move(sizes_));
    cells_.clear();
    blobs_.clear();
    sizes_.clear();
    return added;
  }

 private:
  const char* table_;
  std::span<const Column<Row>> schema_;
  std::vector<std::string> cells_;
  std::vector<void*> blobs_;
  std::vector<int> sizes_;
};

/// The rows of such a table as they are read.
struct BlobTable {
  TableCells cells;
  std::vector<std::vector<char>> blobs;
};

/// False when the table is missing, has no rows or other columns.
template <class Row>
bool Fetch(qvsql::Database& database, const char* table, std::span<const Column<Row>> schema,
           BlobTable& fetched) {
  const int columns = static_cast<int>(schema.size());
  TableCells& cells = fetched.cells;
  return database.GetRecords(table, columns - 1, &cells.rows, &cells.columns, cells.cells, fetched.blobs) &&
         cells.rows >= 1 && cells.columns == columns;
}

qvfd::ByteReader ReaderOf(const std::vector<char>& blob) {
  return qvfd::ByteReader({reinterpret_cast<const unsigned char*>(blob.data()), blob.size()});
}

/// The pairs of a "match_data" blob; none when its length fits neither form.
std::vector<Point2_T<int>> MatchesOf(const std::vector<char>& blob, std::size_t count) {
  std::vector<Point2_T<int>> pairs;
  qvfd::ByteReader reader = ReaderOf(blob);
  if (blob.size() == count * 2 * sizeof(std::int32_t)) {
    static_cast<void>(reader.ReadArray(count, pairs));
  } else if (blob.size() == count * 2 * sizeof(std::uint16_t)) {
    std::vector<Point2_T<std::uint16_t>> narrow;
    static_cast<void>(reader.ReadArray(count, narrow));
    pairs.reserve(count);
    for (const auto& pair : narrow) {
      pairs.push_back({pair.x, pair.y});
    }
  }
  return pairs;
}

}  // namespace

StoredTable StoredFeatureTable() {
  StoredTable table = Stored<FeatureRow>(kFeatureTable, kFeatureColumns);
  table.optional = true;
  return table;
}

StoredTable StoredMatchTable() {
  StoredTable table = Stored<MatchRow>(kMatchTable, kMatchColumns);
  table.optional = true;
  return table;
}

bool QvProject::CreateFeatureTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<FeatureRow>(database, kFeatureTable, kFeatureColumns); });
}

bool QvProject::CreateMatchTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<MatchRow>(database, kMatchTable, kMatchColumns); });
}

bool QvProject::WriteFeatures(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    BlobRows<FeatureRow> rows(kFeatureTable, kFeatureColumns);
    for (const auto& [imageId, points] : features_) {
      if (!rows.Append({imageId, 0}, points)) {
        return false;
      }
    }
    return rows.Flush(database);
  });
}

bool QvProject::WriteMatches(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    BlobRows<MatchRow> rows(kMatchTable, kMatchColumns);
    for (const auto& [pair, matches] : matches_) {
      if (!rows.Append({pair, 0}, matches) || (rows.Count() == kMatchBatch && !rows.Flush(database))) {
        return false;
      }
    }
    return rows.Flush(database);
  });
}

bool QvProject::ReadFeatures(qvsql::Database& database) {
  features_.clear();
  return qvdetail::NoThrow([&] {
    BlobTable table;
    if (!Fetch<FeatureRow>(database, kFeatureTable, kFeatureColumns, table)) {
      return false;
    }
    for (int i = 0; i < table.cells.rows; ++i) {
      FeatureRow row;
      ReadRow<FeatureRow>(kFeatureColumns, table.cells, i, row);
      if (images_.FindImage(row.imageId) == nullptr) {
        continue;
      }
      // A blob shorter than its count says is a corrupt row: the whole points that are there are taken.
      const std::vector<char>& blob = table.blobs[static_cast<std::size_t>(i)];
      const std::size_t whole = blob.size() / sizeof(Point2_T<float>);
      const std::size_t count = row.count < 0 ? 0 : std::min(whole, static_cast<std::size_t>(row.count));
      static_cast<void>(ReaderOf(blob).ReadArray(count, features_[row.imageId]));
    }
    return true;
  });
}

bool QvProject::ReadMatches(qvsql::Database& database) {
  matches_.clear();
  return qvdetail::NoThrow([&] {
    BlobTable table;
    if (!Fetch<MatchRow>(database, kMatchTable, kMatchColumns, table)) {
      return false;
    }
    for (int i = 0; i < table.cells.rows; ++i) {
      MatchRow row;
      ReadRow<MatchRow>(kMatchColumns, table.cells, i, row);
      if (images_.FindImage(row.pair.x) == nullptr || images_.FindImage(row.pair.y) == nullptr) {
        continue;
      }
      const std::size_t count = row.count < 0 ? 0 : static_cast<std::size_t>(row.count);
      matches_[row.pair] = MatchesOf(table.blobs[static_cast<std::size_t>(i)], count);
    }
    return true;
  });
}

}  // namespace qvprj
