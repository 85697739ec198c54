// The rows of tables to which the engine finds no way: from the leaf pages themselves. Private to this room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvprj/check/DatabasePages.h"

namespace qvprj {

/// A cell of a row that is wanted, as the records of the table have it.
struct RecordCell {
  std::size_t position = 0;  // of the column in a record
  int type = 0;              // of the column, a type code of qvsql
  bool filled = true;        // false where the column may hold anything
  std::string missing;       // what it is where a record ends before it
};

/// The records of a table.
struct RecordForm {
  std::string table;                     // its name, in lower case
  std::size_t columns = 0;               // of a record
  std::size_t older_columns = 0;         // of a record in older files; 0 when as many
  std::vector<RecordCell> wanted;        // the cells of a row, in their order
  std::optional<std::size_t> id_column;  // the column that is the row id and is not in the record
};

/// A row, its cells as the engine would give them: numbers as texts, NULL as nothing, texts in UTF-8 up to their
/// first NUL, blobs in hexadecimal digits.
struct ScannedRow {
  std::int64_t id = 0;
  std::vector<std::string> cells;
};

struct ScannedRows {
  std::vector<ScannedRow> rows;  // ascending, no id twice

  /// The first and the last row id of each page that was taken, ascending.
  std::vector<std::pair<std::int64_t, std::int64_t>> pages;

  /// Row ids on these pages of which the rest of the row cannot be read, ascending.
  std::vector<std::int64_t> broken;

  bool listed = false;  // whether the list of tables has the table
  bool whole = false;   // whether all pages of the table could be reached from its root page
};

/// Looks at all pages of a database file, and tells to which table each leaf belongs. A leaf belongs to one table:
/// to that whose root page it can be reached from; or, where it is below what is damaged, to the only one whose
/// rows all its rows can be. Only tables count for that whose pages cannot all be reached, or, where the list of
/// tables is damaged, are not in it. Pages in the list of free pages, as far as that can be read, are passed over,
/// and so is what is in a page besides its rows. Reads the main file alone: what a journal beside it would undo is
/// not undone.
class LeafScan {
 public:
  /// `tables` are those whose rows may be wanted. `others` are the tables beside them, with the number of their
  /// columns; one that is damaged and not among these may have any number.
  LeafScan(const std::string& path, std::vector<RecordForm> tables,
           std::map<std::string, std::size_t> others);

  /// The rows of the table number `table` that are on sound leaves and whose ids `known` does not have, which are
  /// ascending.
  [[nodiscard]] ScannedRows RowsOf(std::size_t table, const std::vector<std::int64_t>& known);

  /// The tables that the list of tables has beside those that may be wanted.
  [[nodiscard]] std::vector<std::string> OtherTables() const;

  /// How many leaves below what is damaged have rows that may belong to several tables: they are not taken.
  [[nodiscard]] std::size_t AmbiguousPages() const { return ambiguous_; }

 private:
  using Owner = std::uint8_t;
  struct Listed {  // a table in the list of tables
    std::string name;
    std::uint32_t root;
  };

  void GuessEncoding();
  void PassOverFreePages();
  void ReadListOfTables();
  [[nodiscard]] std::optional<Listed> ListedTable(const LeafCell& cell, std::vector<bool>& taken);
  [[nodiscard]] bool Walk(std::uint32_t root, Owner owner, std::vector<std::uint32_t>& leaves);
  [[nodiscard]] std::vector<RecordForm>::const_iterator FormOf(const std::string& table) const;
  void WalkTables();
  void JudgeLostLeaves();
  [[nodiscard]] bool IsLeafOf(const RecordForm& form, bool byShape) const;
  void Take(std::size_t table, std::uint32_t page, const std::vector<std::int64_t>& known,
            std::vector<bool>& taken, ScannedRows& found);
  [[nodiscard]] std::string CellOf(const RecordCell& cell, std::span<const unsigned char> record,
                                   std::span<const std::size_t> offsets) const;

  DatabasePages file_;
  TextEncoding encoding_ = TextEncoding::kUtf8;
  std::vector<RecordForm> tables_;
  std::map<std::string, std::size_t> others_;
  std::vector<Owner> owners_;   // of each page, from 1 on
  std::vector<Listed> listed_;  // the tables that the list of tables has
  bool list_is_whole_ = false;
  std::vector<bool> is_listed_;      // by table
  std::vector<bool> may_have_lost_;  // by table, whether leaves that cannot be reached may be its own
  std::vector<std::size_t>
      lost_others_;  // how many columns the others have of which this holds; 0: any number
  std::size_t ambiguous_ = 0;

  // The page that is being looked at, and a record of it.
  std::vector<unsigned char> page_;
  std::vector<LeafCell> cells_;
  std::vector<unsigned char> record_;
  std::vector<StoredValue> values_;
};

}  // namespace qvprj
