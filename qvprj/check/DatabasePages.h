// The pages of a database file as bytes, for rows that the engine finds no way to. Private to this room.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qvprj {

/// How a database keeps its texts.
enum class TextEncoding { kUnknown, kUtf8, kUtf16Le, kUtf16Be };

/// A cell of a leaf page of a table: a row.
struct LeafCell {
  std::int64_t id = 0;         // the row id
  std::uint64_t length = 0;    // of the record
  std::uint32_t offset = 0;    // in the page, where the record begins
  std::uint32_t local = 0;     // how much of the record is in the page
  std::uint32_t overflow = 0;  // the page on which it goes on; 0 where it does not
};

/// How the value of a column is stored: NULL, an integer and so on, with its length.
struct StoredValue {
  enum class Class { kNull, kInteger, kReal, kText, kBlob };
  Class type = Class::kNull;
  std::uint64_t code = 0;  // as the record has it
  std::uint64_t length = 0;
};

/// What the first page says of the file. Where that is damaged: the page size by its pages, no bytes reserved in
/// them.
struct FileForm {
  std::uint32_t page_size = 0;
  std::uint32_t usable = 0;  // bytes of a page without those that are reserved at its end
  TextEncoding encoding = TextEncoding::kUnknown;
  std::uint32_t free_list =
      0;  // the first page of the list of free pages; 0 where there is none, or nobody knows
};

/// The bytes of a file, a page at a time. Pages are counted from 1.
class DatabasePages {
 public:
  /// False when there is no regular file at `path`, or none in which pages can be told.
  [[nodiscard]] bool Open(const std::string& path);

  [[nodiscard]] const FileForm& Form() const { return form_; }

  /// How many whole pages there are.
  [[nodiscard]] std::uint32_t Count() const { return count_; }

  /// The usable bytes of a page. False when they cannot be read, which is taken for damage.
  [[nodiscard]] bool Read(std::uint32_t page, std::vector<unsigned char>& bytes);

  /// The cells of a page, which is a leaf of a table. False unless all of it holds: kind, places and lengths of
  /// all cells, none over another, their row ids ascending.
  [[nodiscard]] bool ReadLeaf(std::uint32_t page, std::span<const unsigned char> bytes,
                              std::vector<LeafCell>& cells) const;

  /// The pages below an inner page of a table; 0 in place of what cannot be a page. False when it is no such
  /// page.
  [[nodiscard]] bool ReadInner(std::uint32_t page, std::span<const unsigned char> bytes,
                               std::vector<std::uint32_t>& children) const;

  /// The bytes of a record, a part of which may be on other pages. `taken` has a flag for each page from 1 on: no
  /// page is taken twice, so all records together are no longer than the file. False when the record is not
  /// whole.
  [[nodiscard]] bool ReadRecord(const LeafCell& cell, std::span<const unsigned char> leaf,
                                std::vector<bool>& taken, std::vector<unsigned char>& record);

 private:
  void Take(const FileForm& form);
  [[nodiscard]] bool ReadAt(std::uint64_t offset, std::span<unsigned char> bytes);
  [[nodiscard]] std::optional<FileForm> FormOfHeader();
  [[nodiscard]] std::uint32_t LikelyPageSize();

  std::ifstream file_;
  std::uint64_t size_ = 0;
  FileForm form_;
  std::uint32_t count_ = 0;
  std::vector<unsigned char> overflow_;  // a page of a record
};

/// How the values of a record are stored, by its head, which may be all that there is of it in `start`; its
/// values have to fill `length`. `headLength` gets where the values begin. False when the head does not hold.
[[nodiscard]] bool ReadHead(std::span<const unsigned char> start, std::uint64_t length,
                            std::vector<StoredValue>& values, std::size_t& headLength);

/// An integer of a record.
[[nodiscard]] std::int64_t IntegerOf(const StoredValue& value, std::span<const unsigned char> bytes);

/// A real of a record.
[[nodiscard]] double RealOf(std::span<const unsigned char> bytes);

/// A text in UTF-8. What is no text in UTF-16 becomes U+FFFD, an odd byte at its end is left out; texts in UTF-8
/// are not looked at.
[[nodiscard]] std::string TextOf(std::span<const unsigned char> bytes, TextEncoding encoding);

}  // namespace qvprj
