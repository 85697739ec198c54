// The rows of tables to which the engine finds no way.
//
// First each page gets its owner: free pages and the list of tables nobody, the pages below the root of a table
// that table. What is left of leaves then lies below something that is damaged, and is judged by the shape of its
// rows. Rows are read when they are asked for, a table at a time: what was reached from the root before what was
// judged, since a list of free pages that is lost may leave old copies of rows among the latter.

#include "qvprj/check/LeafScan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

#include "detail/NumberText.h"
#include "qvprj/check/FoundTables.h"
#include "qvsql/Database.h"

namespace qvprj {
namespace {

using Class = StoredValue::Class;

// Owners of pages: a table by its number, and if it was judged to be its own, with a flag.
constexpr std::uint8_t kJudged = 0x40;
constexpr std::uint8_t kNobody = 0xFE;  // nothing to take, or several tables have it
constexpr std::uint8_t kNotKnown = 0xFF;

/// Whether a value can be in a column of the format, as it is saved. What is no number is a text there.
bool Fits(const RecordCell& cell, const StoredValue& value, std::string_view start) {
  const bool isNumber = value.type == Class::kInteger || value.type == Class::kReal;
  if (!cell.filled || value.type == Class::kNull) {
    return true;
  }
  switch (cell.type) {
    case qvsql::kIntegerColumn:
      return value.type == Class::kInteger;
    case qvsql::kRealColumn:
      return isNumber ||
             (value.type == Class::kText && (start == "nan" || start == "inf" || start == "-inf"));
    case qvsql::kTextColumn:
      return value.type == Class::kText;
    default:
      return value.type == Class::kBlob;
  }
}

/// How many values a record of the table has, as far as that tells tables apart.
bool HasColumnsOf(const RecordForm& form, std::size_t values) {
  return values == form.columns || (form.older_columns > 0 && values == form.older_columns);
}

std::string DigitsOf(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    digits += kDigits[byte >> 4U];
    digits += kDigits[byte & 15U];
  }
  return digits;
}

std::span<const unsigned char> LocalOf(const LeafCell& cell, std::span<const unsigned char> page) {
  return page.subspan(cell.offset, cell.local);
}

}  // namespace

LeafScan::LeafScan(const std::string& path, std::vector<RecordForm> tables,
                   std::map<std::string, std::size_t> others)
    : tables_(std::move(tables)),
      others_(std::move(others)),
      is_listed_(tables_.size(), false),
      may_have_lost_(tables_.size(), true) {
  if (!file_.Open(path)) {
    return;
  }
  owners_.assign(std::size_t{file_.Count()} + 1, kNotKnown);
  encoding_ = file_.Form().encoding;
  if (encoding_ == TextEncoding::kUnknown) {
    GuessEncoding();
  }
  PassOverFreePages();
  ReadListOfTables();
  WalkTables();
  JudgeLostLeaves();
}

/// By the zero bytes in texts, of which those of a survey have many in UTF-16 and none in UTF-8.
void LeafScan::GuessEncoding() {
  std::size_t zeros[2] = {0, 0};  // at even and odd places
  std::size_t all = 0;
  std::size_t head = 0;
  for (std::uint32_t page = 1; page <= file_.Count(); ++page) {
    if (!file_.Read(page, page_) || !file_.ReadLeaf(page, page_, cells_)) {
      continue;
    }
    for (const LeafCell& cell : cells_) {
      const auto local = LocalOf(cell, page_);
      if (!ReadHead(local, cell.length, values_, head)) {
        continue;
      }
      std::size_t at = head;
      for (const StoredValue& value : values_) {
        if (value.length > local.size() - at) {
          break;
        }
        const auto bytes = local.subspan(at, static_cast<std::size_t>(value.length));
        at += bytes.size();
        for (std::size_t i = 0; value.type == Class::kText && i < bytes.size(); ++i, ++all) {
          zeros[i % 2] += bytes[i] == 0 ? 1 : 0;
        }
      }
    }
  }
  constexpr std::size_t kFewZeros = 16;  // one in so many bytes
  const bool isWide = (zeros[0] + zeros[1]) * kFewZeros > all;
  encoding_ = !isWide                ? TextEncoding::kUtf8
              : zeros[1] >= zeros[0] ? TextEncoding::kUtf16Le
                                     : TextEncoding::kUtf16Be;
}

void LeafScan::PassOverFreePages() {
  const auto four = [this](std::size_t at) {
    return std::uint32_t{page_[at]} << 24U | std::uint32_t{page_[at + 1]} << 16U |
           std::uint32_t{page_[at + 2]} << 8U | page_[at + 3];
  };
  // A page of the list has the next one, a count and so many free pages.
  std::uint32_t page = file_.Form().free_list;
  while (page >= 2 && page <= file_.Count() && owners_[page] == kNotKnown && file_.Read(page, page_)) {
    owners_[page] = kNobody;
    const std::size_t count = four(4);
    if (count > page_.size() / 4 - 2) {
      return;
    }
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t freePage = four(8 + 4 * i);
      if (freePage >= 2 && freePage <= file_.Count()) {
        owners_[freePage] = kNobody;
      }
    }
    page = four(0);
  }
}

/// A row of the list of tables: kind, name, table, root page, statement. None when it lists no table.
std::optional<LeafScan::Listed> LeafScan::ListedTable(const LeafCell& cell, std::vector<bool>& taken) {
  std::size_t head = 0;
  if (!file_.ReadRecord(cell, page_, taken, record_) || !ReadHead(record_, record_.size(), values_, head) ||
      values_.size() != 5) {
    list_is_whole_ = false;
    return std::nullopt;
  }
  std::vector<std::span<const unsigned char>> fields;
  std::size_t at = head;
  for (const StoredValue& value : values_) {
    fields.emplace_back(std::span(record_).subspan(at, static_cast<std::size_t>(value.length)));
    at += fields.back().size();
  }
  const std::int64_t root = values_[3].type == Class::kInteger ? IntegerOf(values_[3], fields[3]) : 0;
  if (TextOf(fields[0], encoding_) != "table" || root == 0) {
    return std::nullopt;  // an index, a view, a trigger, a virtual table
  }
  const bool isPage = root >= 2 && root <= file_.Count();
  return Listed{TextOf(fields[1], encoding_), isPage ? static_cast<std::uint32_t>(root) : 0};
}

void LeafScan::ReadListOfTables() {
  std::vector<std::uint32_t> leaves;
  list_is_whole_ = Walk(1, kNobody, leaves);
  std::vector<bool> taken(owners_.size(), false);
  for (const std::uint32_t leaf : leaves) {
    if (!file_.Read(leaf, page_) || !file_.ReadLeaf(leaf, page_, cells_)) {
      list_is_whole_ = false;
      continue;
    }
    for (const LeafCell& cell : cells_) {
      if (auto listed = ListedTable(cell, taken)) {
        listed_.push_back(std::move(*listed));
      }
    }
  }
}

/// Gives the pages of a table to `owner`, and collects its leaves. False when one of them is damaged. What two
/// tables have in common belongs to nobody.
bool LeafScan::Walk(std::uint32_t root, Owner owner, std::vector<std::uint32_t>& leaves) {
  bool whole = true;
  std::vector<std::uint32_t> waiting = {root};
  std::vector<std::uint32_t> children;
  while (!waiting.empty()) {
    const std::uint32_t page = waiting.back();
    waiting.pop_back();
    if (page == 0 || owners_[page] != kNotKnown) {
      whole = false;
      if (page != 0 && owners_[page] != owner) {
        owners_[page] = kNobody;
      }
      continue;
    }
    const bool isRead = file_.Read(page, page_);
    if (isRead && file_.ReadInner(page, page_, children)) {
      owners_[page] = owner;
      // Those are the pages that wait at one time, so there are no more of them than the file has.
      std::sort(children.begin(), children.end());
      const auto repeated = std::unique(children.begin(), children.end());
      whole = whole && repeated == children.end();
      children.erase(repeated, children.end());
      waiting.insert(waiting.end(), children.begin(), children.end());
    } else if (isRead && file_.ReadLeaf(page, page_, cells_)) {
      owners_[page] = owner;
      leaves.push_back(page);
    } else {
      whole = false;
    }
  }
  return whole;
}

std::vector<RecordForm>::const_iterator LeafScan::FormOf(const std::string& table) const {
  const std::string name = LowerAscii(table);
  return std::find_if(tables_.begin(), tables_.end(),
                      [&](const RecordForm& form) { return form.table == name; });
}

std::vector<std::string> LeafScan::OtherTables() const {
  std::vector<std::string> others;
  for (const Listed& listed : listed_) {
    if (FormOf(listed.name) == tables_.end() && !LowerAscii(listed.name).starts_with("sqlite_")) {
      others.push_back(listed.name);
    }
  }
  return others;
}

void LeafScan::WalkTables() {
  std::vector<std::uint32_t> leaves;
  may_have_lost_.assign(tables_.size(), false);
  for (const Listed& listed : listed_) {
    const auto table = FormOf(listed.name);
    leaves.clear();
    if (table == tables_.end()) {
      const auto other = others_.find(LowerAscii(listed.name));
      if (!Walk(listed.root, kNobody, leaves)) {
        lost_others_.push_back(other == others_.end() ? 0 : other->second);
      }
      continue;
    }
    const auto number = static_cast<std::size_t>(table - tables_.begin());
    const bool isWhole = Walk(listed.root, static_cast<Owner>(number), leaves);
    is_listed_[number] = true;
    may_have_lost_[number] = may_have_lost_[number] || !isWhole;
    // Where the way to a page was damaged without breaking it, the page has other records.
    for (const std::uint32_t leaf : leaves) {
      if (!file_.Read(leaf, page_) || !file_.ReadLeaf(leaf, page_, cells_) || !IsLeafOf(*table, false)) {
        owners_[leaf] = kNobody;
        may_have_lost_[number] = true;
      }
    }
  }
  for (std::size_t i = 0; i < tables_.size(); ++i) {
    may_have_lost_[i] = may_have_lost_[i] || (!list_is_whole_ && !is_listed_[i]);
  }
}

/// Whether all records of the leaf that is looked at can be rows of the table: by the number of their values, and
/// if that is all there is to go by, also by the kinds of these.
bool LeafScan::IsLeafOf(const RecordForm& form, bool byShape) const {
  std::vector<StoredValue> values;
  std::vector<std::size_t> offsets;
  for (const LeafCell& cell : cells_) {
    const auto local = LocalOf(cell, page_);
    std::size_t head = 0;
    if (!ReadHead(local, cell.length, values, head)) {
      if (byShape || cell.overflow == 0) {
        return false;
      }
      continue;  // the head may go on on another page
    }
    if (!byShape) {
      if (values.size() > form.columns) {
        return false;
      }
      continue;
    }
    if (!HasColumnsOf(form, values.size())) {
      return false;
    }
    offsets.assign(1, head);
    for (const StoredValue& value : values) {
      offsets.push_back(offsets.back() + static_cast<std::size_t>(value.length));
    }
    for (const RecordCell& wanted : form.wanted) {
      if (wanted.position >= values.size()) {
        continue;
      }
      const StoredValue& value = values[wanted.position];
      const std::size_t from = std::min(offsets[wanted.position], local.size());
      constexpr std::uint64_t kLongestWord = 10;  // more than those take that stand for a number
      const auto length = static_cast<std::size_t>(
          std::min<std::uint64_t>({kLongestWord, value.length, local.size() - from}));
      if (!Fits(wanted, value,
                value.type == Class::kText ? TextOf(local.subspan(from, length), encoding_) : "")) {
        return false;
      }
    }
  }
  return true;
}

void LeafScan::JudgeLostLeaves() {
  if (std::none_of(may_have_lost_.begin(), may_have_lost_.end(), [](bool may) { return may; })) {
    return;
  }
  for (std::uint32_t page = 2; page <= file_.Count(); ++page) {
    if (owners_[page] != kNotKnown || !file_.Read(page, page_) || !file_.ReadLeaf(page, page_, cells_) ||
        cells_.empty()) {
      continue;
    }
    std::size_t fitting = 0;
    std::size_t table = 0;
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      if (may_have_lost_[i] && IsLeafOf(tables_[i], true)) {
        ++fitting;
        table = i;
      }
    }
    const bool mayBeOthers =
        fitting == 1 && std::any_of(lost_others_.begin(), lost_others_.end(), [&](std::size_t columns) {
          return columns == 0 || HasColumnsOf(tables_[table], columns);
        });
    ambiguous_ += fitting > 1 || mayBeOthers ? 1 : 0;
    owners_[page] = fitting == 1 && !mayBeOthers ? static_cast<Owner>(table | kJudged) : kNobody;
  }
}

ScannedRows LeafScan::RowsOf(std::size_t table, const std::vector<std::int64_t>& known) {
  ScannedRows found;
  std::vector<bool> taken(owners_.size(), false);
  for (const std::size_t owner : {table, table | kJudged}) {
    for (std::uint32_t page = 2; page < owners_.size(); ++page) {
      if (owners_[page] == owner) {
        Take(table, page, known, taken, found);
      }
    }
  }
  std::stable_sort(found.rows.begin(), found.rows.end(),
                   [](const ScannedRow& a, const ScannedRow& b) { return a.id < b.id; });
  found.rows.erase(std::unique(found.rows.begin(), found.rows.end(),
                               [](const ScannedRow& a, const ScannedRow& b) { return a.id == b.id; }),
                   found.rows.end());
  std::sort(found.pages.begin(), found.pages.end());
  const auto isFound = [&](std::int64_t id) {
    const auto row = std::lower_bound(found.rows.begin(), found.rows.end(), id,
                                      [](const ScannedRow& a, std::int64_t b) { return a.id < b; });
    return row != found.rows.end() && row->id == id;
  };
  std::erase_if(found.broken, isFound);
  std::sort(found.broken.begin(), found.broken.end());
  found.broken.erase(std::unique(found.broken.begin(), found.broken.end()), found.broken.end());
  found.listed = is_listed_[table];
  found.whole = found.listed && !may_have_lost_[table];
  return found;
}

/// Takes the rows of a leaf, but for those of which the rest cannot be read.
void LeafScan::Take(std::size_t table, std::uint32_t page, const std::vector<std::int64_t>& known,
                    std::vector<bool>& taken, ScannedRows& found) {
  if (!file_.Read(page, page_) || !file_.ReadLeaf(page, page_, cells_) || cells_.empty()) {
    return;
  }
  const RecordForm& form = tables_[table];
  std::vector<std::size_t> offsets;
  found.pages.emplace_back(cells_.front().id, cells_.back().id);
  for (const LeafCell& cell : cells_) {
    std::size_t head = 0;
    if (std::binary_search(known.begin(), known.end(), cell.id)) {
      continue;
    }
    if (!file_.ReadRecord(cell, page_, taken, record_) || !ReadHead(record_, record_.size(), values_, head) ||
        values_.size() > form.columns) {
      found.broken.push_back(cell.id);
      continue;
    }
    offsets.assign(1, head);
    for (const StoredValue& value : values_) {
      offsets.push_back(offsets.back() + static_cast<std::size_t>(value.length));
    }
    ScannedRow& row = found.rows.emplace_back();
    row.id = cell.id;
    row.cells.reserve(form.wanted.size());
    for (const RecordCell& wanted : form.wanted) {
      const bool isId = form.id_column == wanted.position && wanted.position < values_.size() &&
                        values_[wanted.position].type == Class::kNull;
      row.cells.push_back(isId ? qvdetail::FormatInteger(cell.id) : CellOf(wanted, record_, offsets));
    }
  }
}

std::string LeafScan::CellOf(const RecordCell& cell, std::span<const unsigned char> record,
                             std::span<const std::size_t> offsets) const {
  if (cell.position >= values_.size()) {
    return cell.missing;
  }
  const StoredValue& value = values_[cell.position];
  const auto bytes = record.subspan(offsets[cell.position], static_cast<std::size_t>(value.length));
  const bool isBlob = cell.type == qvsql::kBlobColumn;
  std::string text;
  switch (value.type) {
    case Class::kNull:
      return {};
    case Class::kInteger: {
      const std::int64_t integer = IntegerOf(value, bytes);
      // Whole numbers of a column of reals are kept as integers.
      text = cell.type == qvsql::kRealColumn ? qvdetail::FormatReal(static_cast<double>(integer))
                                             : qvdetail::FormatInteger(integer);
      break;
    }
    case Class::kReal: {
      const double real = RealOf(bytes);
      text = std::isnan(real) ? std::string() : qvdetail::FormatReal(real);  // a NULL for the engine
      break;
    }
    default:
      if (isBlob) {
        return DigitsOf({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
      }
      text = TextOf(bytes, encoding_);
  }
  return isBlob ? DigitsOf(text) : text;
}

}  // namespace qvprj
