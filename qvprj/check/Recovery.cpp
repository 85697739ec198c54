// Getting what can be read out of a damaged pair of files into a new one: rows as they are, without a project
// in memory between, which would drop what it cannot place.
#include "qvprj/check/Recovery.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "detail/NoThrow.h"
#include "detail/NumberText.h"
#include "qvfd/BlobFile.h"
#include "qvprj/check/BlobSalvage.h"
#include "qvprj/check/CheckState.h"
#include "qvprj/check/FoundTables.h"
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

/// Makes the table in the new database and fills it with what is left in the damaged one. False when the new
/// one cannot be written.
bool RecoverTable(qvsql::Database& damaged, const StoredTable& table, qvsql::Database& made,
                  RecoveryReport& report, IdSet* ids) {
  TableRecovery recovery;
  recovery.table = table.name;
  const std::vector<FoundColumn> found = ColumnsOf(damaged, table.name);
  recovery.found = !found.empty();
  if (!recovery.found && table.optional) {
    return true;
  }
  SalvagedRows salvaged;
  std::vector<bool> present;
  std::string columns;
  for (const StoredColumn& column : table.columns) {
    present.push_back(PositionOf(found, column.name).has_value());
    const std::string name = Identifier(column.name);
    columns += !present.back() ? "" : column.type == qvsql::kBlobColumn ? ", hex(" + name + ")" : ", " + name;
  }
  if (recovery.found) {
    salvaged = SalvageRows(damaged, table.name, columns);
  }
  recovery.kept = salvaged.rows.size();
  recovery.lost = salvaged.lost;
  recovery.end_unknown = salvaged.end_unknown;
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
  qvsql::Database damaged;
  qvsql::Database made;
  // Where it cannot be opened there are no tables in it, and all of them are told to be missing.
  static_cast<void>(damaged.OpenDamaged(from));
  if (!made.Create(to) || !WriteStamp(made, stamp)) {
    return false;
  }
  for (const StoredTable& table : StoredTables()) {
    const bool isImages = std::string_view(table.name) == StoredImageTable().name;
    if (!RecoverTable(damaged, table, made, report, isImages ? &images : nullptr)) {
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
  report.other_tables = OtherTables(damaged);
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
  return !IsEmpty() && other_tables.empty() && tracks == TrackFileState::kSound &&
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
