// Getting what can be read out of a damaged pair of files into a new one: rows as they are, without a project
// in memory between, which would drop what it cannot place.
#include "qvprj/check/Recovery.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "detail/NoThrow.h"
#include "detail/NumberText.h"
#include "qvfd/BlobFile.h"
#include "qvprj/check/BlobSalvage.h"
#include "qvprj/check/CheckState.h"
#include "qvprj/check/FoundTables.h"
#include "qvprj/check/LeafScan.h"
#include "qvprj/check/Query.h"
#include "qvprj/check/RowSalvage.h"
#include "qvprj/detail/Stamp.h"
#include "qvprj/project/PairReplacement.h"
#include "qvprj/project/QvProject.h"

namespace fs = std::filesystem;

namespace qvprj {
namespace {

constexpr int kTrackFileTag = 1;

/// The project alone knows how its track file is named.
struct TrackFile : QvProject {
  using QvProject::GetTrackFileName;
};

/// What a cell holds whose column the damaged table does not have: older tables lack two columns.
std::string DefaultOf(std::string_view column) {
  return column == "uavtype" ? "99" : column == "nadir" ? "1" : "";
}

bool CreateTable(qvsql::Database& database, const StoredTable& table) {
  std::vector<qvsql::Field> fields;
  for (const StoredColumn& column : table.columns) {
    fields.emplace_back(column.name, column.type);
  }
  return database.CreateTable(table.name, std::move(fields));
}

/// Rows on their way from one database to another.
struct Transfer {
  std::vector<std::string> cells;
  std::vector<std::vector<unsigned char>> blobs;
};

/// Brings salvaged rows, which lack the columns that `present` lacks, into the columns of the format.
Transfer TransferOf(const StoredTable& table, const std::vector<bool>& present, SalvagedRows& salvaged) {
  Transfer transfer;
  transfer.cells.reserve(salvaged.rows.size() * table.columns.size());
  for (std::vector<std::string>& row : salvaged.rows) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      const StoredColumn& column = table.columns[i];
      std::string cell = present[i] ? std::move(row[next++]) : DefaultOf(column.name);
      if (column.type == qvsql::kBlobColumn) {
        transfer.blobs.push_back(BytesOfDigits(cell));
        cell.clear();
      }
      transfer.cells.push_back(std::move(cell));
    }
    row = {};
  }
  return transfer;
}

bool AddRows(qvsql::Database& database, const StoredTable& table, Transfer& transfer) {
  const int columns = static_cast<int>(table.columns.size());
  if (table.columns.back().type != qvsql::kBlobColumn) {
    return database.AddRecords(table.name, transfer.cells, columns);
  }
  std::vector<void*> blobs;
  std::vector<int> sizes;
  for (std::vector<unsigned char>& blob : transfer.blobs) {
    blobs.push_back(blob.data());
    sizes.push_back(static_cast<int>(blob.size()));
  }
  return database.AddRecords(table.name, transfer.cells, columns, columns - 1, std::move(blobs),
                             std::move(sizes));
}

/// The damaged database, by way of the engine, and beside it.
class DamagedDatabase {
 public:
  explicit DamagedDatabase(const std::string& path) : path_(path) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    bytes_ = error ? 0 : bytes;
    // Where it cannot be opened there are no tables in it.
    static_cast<void>(engine_.OpenDamaged(path));
    static_cast<void>(ForEachRow(engine_, "PRAGMA encoding", [this](std::span<char* const> cells) {
      const std::string_view name = cells[0] == nullptr ? "" : cells[0];
      encoding_ = name == "UTF-16le"   ? TextEncoding::kUtf16Le
                  : name == "UTF-16be" ? TextEncoding::kUtf16Be
                                       : TextEncoding::kUtf8;
    }));
    listIsSound_ = engine_.IsOpen() && ForEachRow(engine_, "SELECT * FROM sqlite_master", [](const auto&) {});
    for (const StoredTable& table : StoredTables()) {
      tables_.push_back({table, ColumnsOf(engine_, table.name)});
    }
  }

  /// What is left of the table number `number`, of the columns that it has: all, where it is not there.
  SalvagedRows Salvage(std::size_t number, TableRecovery& recovery) {
    const Table& table = tables_[number];
    recovery.table = table.stored.name;
    recovery.found = !table.found.empty();
    SalvagedRows salvaged;
    if (recovery.found) {
      salvaged = SalvageRows(engine_, table.stored.name, ColumnsToRead(table), bytes_);
    }
    const bool isWhole = recovery.found && salvaged.lost == 0 && !salvaged.end_unknown;
    const bool isMissing = !recovery.found && table.stored.optional && listIsSound_;
    const bool hasIds = salvaged.rows.size() == salvaged.ids.size();
    if (!isWhole && !isMissing && hasIds) {
      ScannedRows scanned = Scan().RowsOf(number, salvaged.ids);
      const bool isEndKnown = recovery.found ? !salvaged.end_unknown : scanned.whole;
      recovery.found = recovery.found || scanned.listed;
      recovery.found_by_scan = AddScanned(std::move(scanned), salvaged);
      salvaged.end_unknown = recovery.found && !isEndKnown;
    }
    recovery.kept = salvaged.rows.size();
    recovery.lost = salvaged.lost;
    recovery.end_unknown = salvaged.end_unknown || (!recovery.found && recovery.kept > 0);
    return salvaged;
  }

  /// Which of the columns of the format the rows of a table have.
  [[nodiscard]] std::vector<bool> PresentColumns(std::size_t number) const {
    std::vector<bool> present;
    for (const StoredColumn& column : tables_[number].stored.columns) {
      present.push_back(IsPresent(tables_[number], column));
    }
    return present;
  }

  [[nodiscard]] std::vector<std::string> NamesOfOtherTables() {
    return listIsSound_ || !scan_ ? OtherTables(engine_) : scan_->OtherTables();
  }

  [[nodiscard]] std::size_t AmbiguousPages() const { return scan_ ? scan_->AmbiguousPages() : 0; }

 private:
  struct Table {
    StoredTable stored;
    std::vector<FoundColumn> found;  // none where the engine does not find the table
  };

  static bool IsPresent(const Table& table, const StoredColumn& column) {
    return table.found.empty() || PositionOf(table.found, column.name).has_value();
  }

  [[nodiscard]] RowColumns ColumnsToRead(const Table& table) const {
    RowColumns columns;
    columns.encoding = encoding_;
    for (const StoredColumn& column : table.stored.columns) {
      if (IsPresent(table, column)) {
        columns.Add(column.name, column.type);
      }
    }
    return columns;
  }

  /// The records of a table: as the engine knows it, or as the format has it.
  RecordForm FormOf(const Table& table) {
    RecordForm form;
    form.table = table.stored.name;
    const bool isFound = !table.found.empty();
    form.columns = isFound ? table.found.size() : table.stored.columns.size();
    form.older_columns = isFound ? 0 : table.stored.older_columns;
    for (std::size_t i = 0; i < table.stored.columns.size(); ++i) {
      const StoredColumn& column = table.stored.columns[i];
      if (!IsPresent(table, column)) {
        continue;
      }
      RecordCell cell;
      cell.position = isFound ? *PositionOf(table.found, column.name) : i;
      cell.type = column.type;
      cell.filled = column.filled;
      cell.missing = isFound ? "" : DefaultOf(column.name);
      form.wanted.push_back(std::move(cell));
    }
    const std::string key = "SELECT cid FROM pragma_table_info('" + form.table +
                            "') WHERE pk = 1 AND upper(type) = 'INTEGER'"
                            " AND (SELECT count(*) FROM pragma_table_info('" +
                            form.table + "') WHERE pk > 0) = 1";
    static_cast<void>(ForEachRow(engine_, key, [&form](std::span<char* const> cells) {
      form.id_column = static_cast<std::size_t>(qvdetail::ParseInteger(cells[0]));
    }));
    return form;
  }

  /// Made when it is first needed: a sound database is not scanned.
  LeafScan& Scan() {
    if (!scan_) {
      std::vector<RecordForm> forms;
      for (const Table& table : tables_) {
        forms.push_back(FormOf(table));
      }
      std::map<std::string, std::size_t> others;
      const std::string count =
          "SELECT name, (SELECT count(*) FROM pragma_table_info(m.name)) FROM sqlite_master AS m"
          " WHERE type = 'table'";
      static_cast<void>(ForEachRow(engine_, count, [&others](std::span<char* const> cells) {
        if (cells[0] != nullptr && cells[1] != nullptr) {
          others[LowerAscii(cells[0])] = static_cast<std::size_t>(qvdetail::ParseInteger(cells[1]));
        }
      }));
      scan_.emplace(path_, std::move(forms), std::move(others));
    }
    return *scan_;
  }

  std::string path_;
  std::uintmax_t bytes_ = 0;  ///< of the file
  qvsql::Database engine_;
  TextEncoding encoding_ = TextEncoding::kUtf8;
  bool listIsSound_ = false;
  std::vector<Table> tables_;
  std::optional<LeafScan> scan_;
};

/// Makes the table in the new database and fills it with what is left in the damaged one. False when the new
/// one cannot be written.
bool RecoverTable(DamagedDatabase& damaged, std::size_t number, const StoredTable& table,
                  qvsql::Database& made, RecoveryReport& report, IdSet* ids) {
  TableRecovery recovery;
  SalvagedRows salvaged = damaged.Salvage(number, recovery);
  if (!recovery.found && recovery.kept == 0 && table.optional) {
    return true;
  }
  const std::vector<bool> present = damaged.PresentColumns(number);
  if (ids != nullptr && present.front()) {
    for (const std::vector<std::string>& row : salvaged.rows) {
      ids->Insert(qvdetail::ParseInteger(row.front()));
    }
    ids->Settle();
  }
  report.tables.push_back(recovery);
  Transfer transfer = TransferOf(table, present, salvaged);
  return CreateTable(made, table) && AddRows(made, table, transfer);
}

/// All tables; `images` gets the ids of the images. False when the new database cannot be written.
bool RecoverTables(const std::string& from, const std::string& to, std::uint32_t stamp,
                   RecoveryReport& report, IdSet& images) {
  DamagedDatabase damaged(from);
  qvsql::Database made;
  if (!made.Create(to) || !WriteStamp(made, stamp)) {
    return false;
  }
  const std::vector<StoredTable> tables = StoredTables();
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const bool isImages = std::string_view(tables[i].name) == StoredImageTable().name;
    if (!RecoverTable(damaged, i, tables[i], made, report, isImages ? &images : nullptr)) {
      return false;
    }
  }
  TableRecovery& project = report.tables.front();
  if (project.kept == 0) {
    project.end_unknown = true;  // a project has one row
    if (!QvProject().WritePrjRecords(made)) {
      return false;
    }
  }
  report.other_tables = damaged.NamesOfOtherTables();
  report.ambiguous_pages = damaged.AmbiguousPages();
  return true;
}

bool HasWhole(const RecoveryReport& report, std::string_view table) {
  return std::any_of(report.tables.begin(), report.tables.end(), [table](const TableRecovery& recovery) {
    return recovery.table == table && recovery.IsWhole();
  });
}

/// False when the new track file cannot be written.
bool RecoverTracks(const std::string& from, const std::string& to, std::uint32_t stamp,
                   RecoveryReport& report, const IdSet& images) {
  const bool imagesKnown = HasWhole(report, StoredImageTable().name) && images.Size() > 0;
  TrackFileSalvage salvage(from, imagesKnown ? &images : nullptr);
  report.tracks = salvage.State();
  return qvfd::WriteBlobFileInPlace(to, {kTrackFileTag, stamp}, [&](qvfd::BlobFileWriter& file) {
    for (const int id : TrackFileSalvage::kIds) {
      const auto blob = salvage.Take(id);
      if (!blob) {
        continue;
      }
      report.blobs.push_back(blob->recovery);
      if (!blob->bytes.empty()) {
        file.Begin(id);
        file.WriteArray(blob->bytes);
      }
    }
    return true;
  });
}

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  return a == b || fs::equivalent(a, b, error);
}

}  // namespace

bool RecoveryReport::IsEmpty() const {
  const auto isKept = [](const auto& recovery) { return recovery.kept > 0; };
  return std::none_of(tables.begin(), tables.end(), isKept) &&
         std::none_of(blobs.begin(), blobs.end(), isKept);
}

bool RecoveryReport::IsComplete() const {
  const auto isWhole = [](const auto& recovery) { return recovery.IsWhole(); };
  return !IsEmpty() && other_tables.empty() && ambiguous_pages == 0 && tracks == TrackFileState::kSound &&
         std::all_of(tables.begin(), tables.end(), isWhole) &&
         std::all_of(blobs.begin(), blobs.end(), isWhole);
}

bool RecoverProject(const std::string& damaged, const std::string& target, RecoveryReport& report) noexcept {
  return qvdetail::NoThrow([&] {
    report = {};
    const PairFiles pair{damaged, TrackFile::GetTrackFileName(damaged)};
    const PairFiles from = FilesThatHold(pair);
    const PairFiles to{target, TrackFile::GetTrackFileName(target)};
    for (const std::string& source : {pair.database, pair.track_file, from.database, from.track_file}) {
      if (IsSameFile(source, to.database) || IsSameFile(source, to.track_file)) {
        return false;
      }
    }
    const std::uint32_t stamp = NewStamp();
    return ReplacePair(to, [&](const PairFiles& made) {
      report = {};
      report.database = to.database;
      report.track_file = to.track_file;
      IdSet images;
      return RecoverTables(from.database, made.database, stamp, report, images) &&
             RecoverTracks(from.track_file, made.track_file, stamp, report, images) && !report.IsEmpty();
    });
  });
}

}  // namespace qvprj
