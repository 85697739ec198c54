// The pages of a database file as bytes. All integers are big-endian.
//
// The first 100 bytes of the file:
//   0    16 bytes  "SQLite format 3" and a NUL
//   16   2 bytes   page size: a power of two from 512 to 32768, or 1 for 65536
//   20   1 byte    bytes reserved at the end of each page; 480 are left at least
//   32   4 bytes   first page of the list of free pages
//   56   4 bytes   encoding of texts: 1 UTF-8, 2 UTF-16le, 3 UTF-16be
//
// A page of a table, from its first byte on, or from byte 100 of the first page:
//   0    1 byte    kind: 13 a leaf, 5 an inner page
//   3    2 bytes   number of cells
//   5    2 bytes   where the cells begin; 0 for 65536
//   8    4 bytes   of an inner page: the last page below it
//   then 2 bytes a cell: its place in the page
// A cell of an inner page: the page below (4 bytes), a row id. A cell of a leaf: length of the record and row id,
// and of the record as much as belongs into the page; then, if that is not all, the page with the rest (4 bytes).
// Such a page has the number of the next one (4 bytes) in front.
//
// A record: the length of its head, the head (a code a column, which says how the value is stored), the values.
// Lengths, row ids and codes are 1 to 9 bytes long: seven bits a byte, the highest first and the top bit set in
// all but the last; of the ninth all eight.
// Source: the engine's documentation of its file format.

#include "qvprj/check/DatabasePages.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace qvprj {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr std::size_t kHeaderSize = 100;
constexpr std::uint32_t kSmallestPage = 512;
constexpr std::uint32_t kLargestPage = 65536;
constexpr std::uint32_t kLeastUsable = 480;
constexpr unsigned char kLeafPage = 13;
constexpr unsigned char kInnerPage = 5;

/// More columns than the engine makes tables of.
constexpr std::size_t kMostColumns = 2000;

std::uint32_t Two(Bytes bytes, std::size_t at) {
  return bytes[at] * 256U + bytes[at + 1];
}

std::uint32_t Four(Bytes bytes, std::size_t at) {
  return Two(bytes, at) * 65536U + Two(bytes, at + 2);
}

/// Takes a number of 1 to 9 bytes off the front. False when there is no whole one.
bool TakeVarint(Bytes& bytes, std::uint64_t& value) {
  constexpr std::size_t kLongest = 9;
  value = 0;
  for (std::size_t i = 0; i < std::min(bytes.size(), kLongest); ++i) {
    const bool isNinth = i + 1 == kLongest;
    value = isNinth ? value << 8U | bytes[i] : value << 7U | (bytes[i] & 0x7FU);
    if (isNinth || bytes[i] < 0x80U) {
      bytes = bytes.subspan(i + 1);
      return true;
    }
  }
  return false;
}

/// How much of a record of this length is in its leaf.
std::uint32_t LocalLength(std::uint64_t length, std::uint32_t usable) {
  if (length <= usable - 35) {
    return static_cast<std::uint32_t>(length);
  }
  const std::uint32_t least = (usable - 12) * 32 / 255 - 23;
  const std::uint64_t fitting = least + (length - least) % (usable - 4);
  return fitting <= usable - 35 ? static_cast<std::uint32_t>(fitting) : least;
}

/// The places of the cells of a page of this kind. False when it is none, or one of them is outside.
bool ReadPlaces(Bytes page, std::size_t start, unsigned char kind, std::size_t headSize,
                std::vector<std::uint32_t>& places) {
  places.clear();
  if (page.size() < start + headSize || page[start] != kind) {
    return false;
  }
  const std::size_t cells = Two(page, start + 3);
  const std::size_t begin = Two(page, start + 5) == 0 ? kLargestPage : Two(page, start + 5);
  const std::size_t end = start + headSize + 2 * cells;
  if (end > begin || begin > page.size()) {
    return false;
  }
  for (std::size_t i = 0; i < cells; ++i) {
    places.push_back(Two(page, start + headSize + 2 * i));
    if (places.back() < begin || places.back() >= page.size()) {
      return false;
    }
  }
  return true;
}

/// `most` is what a record can be long.
bool ReadCells(Bytes page, std::size_t start, std::uint64_t most, std::vector<LeafCell>& cells) {
  cells.clear();
  std::vector<std::uint32_t> places;
  if (!ReadPlaces(page, start, kLeafPage, 8, places)) {
    return false;
  }
  std::vector<std::pair<std::size_t, std::size_t>> extents;  // of the cells
  for (const std::uint32_t place : places) {
    LeafCell cell;
    Bytes rest = page.subspan(place);
    std::uint64_t id = 0;
    if (!TakeVarint(rest, cell.length) || !TakeVarint(rest, id) || cell.length > most) {
      return false;
    }
    cell.id = static_cast<std::int64_t>(id);
    cell.offset = static_cast<std::uint32_t>(page.size() - rest.size());
    cell.local = LocalLength(cell.length, static_cast<std::uint32_t>(page.size()));
    const bool goesOn = cell.local < cell.length;
    if (rest.size() < cell.local + (goesOn ? 4U : 0U) || (!cells.empty() && cell.id <= cells.back().id)) {
      return false;
    }
    cell.overflow = goesOn ? Four(rest, cell.local) : 0;
    extents.emplace_back(place, cell.offset + cell.local + (goesOn ? 4U : 0U));
    cells.push_back(cell);
  }
  std::sort(extents.begin(), extents.end());
  const auto overlap = [](const auto& left, const auto& right) { return left.second > right.first; };
  return std::adjacent_find(extents.begin(), extents.end(), overlap) == extents.end();
}

std::size_t StartOf(std::uint32_t page) {
  return page == 1 ? kHeaderSize : 0;
}

/// Appends a character as UTF-8.
void AppendCharacter(std::uint32_t c, std::string& text) {
  const auto byte = [&text](std::uint32_t value) { text += static_cast<char>(value); };
  if (c < 0x80U) {
    byte(c);
  } else if (c < 0x800U) {
    byte(0xC0U | c >> 6U);
    byte(0x80U | (c & 0x3FU));
  } else if (c < 0x10000U) {
    byte(0xE0U | c >> 12U);
    byte(0x80U | (c >> 6U & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  } else {
    byte(0xF0U | c >> 18U);
    byte(0x80U | (c >> 12U & 0x3FU));
    byte(0x80U | (c >> 6U & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  }
}

}  // namespace

bool DatabasePages::Open(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) {
    return false;
  }
  size_ = fs::file_size(path, error);
  file_.open(path, std::ios::binary);
  if (error || !file_.is_open() || size_ < kSmallestPage) {
    return false;
  }
  const auto form = FormOfHeader();
  if (form) {
    Take(*form);
    std::vector<unsigned char> first;
    std::vector<LeafCell> cells;
    std::vector<std::uint32_t> children;
    // Where the first page is as it should be, so is the page size.
    if (Read(1, first) && (ReadLeaf(1, first, cells) || ReadInner(1, first, children))) {
      return true;
    }
  }
  const std::uint32_t likely = LikelyPageSize();
  if (likely != 0 && likely != form_.page_size) {
    Take({.page_size = likely, .usable = likely});
  }
  return form_.page_size != 0;
}

void DatabasePages::Take(const FileForm& form) {
  constexpr std::uint64_t kMostPages = 0xFFFFFFFE;
  form_ = form;
  count_ = static_cast<std::uint32_t>(std::min(size_ / form_.page_size, kMostPages));
}

std::optional<FileForm> DatabasePages::FormOfHeader() {
  std::array<unsigned char, kHeaderSize> header{};
  if (!ReadAt(0, header)) {
    return std::nullopt;
  }
  FileForm form;
  form.page_size = Two(header, 16) == 1 ? kLargestPage : Two(header, 16);
  const bool isMagic =
      std::equal(kMagic.begin(), kMagic.end(), header.begin(),
                 [](char magic, unsigned char byte) { return static_cast<unsigned char>(magic) == byte; });
  if (!isMagic || !std::has_single_bit(form.page_size) || form.page_size < kSmallestPage ||
      form.page_size - header[20] < kLeastUsable) {
    return std::nullopt;
  }
  form.usable = form.page_size - header[20];
  const std::uint32_t encoding = Four(header, 56);
  form.encoding = encoding <= 3 ? static_cast<TextEncoding>(encoding) : TextEncoding::kUnknown;
  form.free_list = Four(header, 32);
  return form;
}

/// The page size under which most pages are leaves of tables that hold; 0 when there are none under any. A page
/// that is cut too short lacks its cells; of pages that are cut too long there are fewer.
std::uint32_t DatabasePages::LikelyPageSize() {
  constexpr std::size_t kSizes = 8;  // powers of two from 512 to 65536
  std::array<std::size_t, kSizes> leaves{};
  std::vector<unsigned char> piece(kLargestPage);
  std::vector<LeafCell> cells;
  for (std::uint64_t offset = 0; offset < size_; offset += kLargestPage) {
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(kLargestPage, size_ - offset));
    if (!ReadAt(offset, std::span(piece).first(length))) {
      continue;
    }
    for (std::size_t i = 0; i < kSizes; ++i) {
      const std::size_t pageSize = kSmallestPage << i;
      for (std::size_t at = 0; at + pageSize <= length; at += pageSize) {
        const std::size_t start = offset + at == 0 ? kHeaderSize : 0;
        const bool isLeaf = ReadCells(Bytes(piece).subspan(at, pageSize), start, size_, cells);
        leaves[i] += isLeaf && !cells.empty() ? 1 : 0;
      }
    }
  }
  const auto* const most = std::max_element(leaves.begin(), leaves.end());
  return *most == 0 ? 0 : kSmallestPage << static_cast<std::size_t>(most - leaves.begin());
}

bool DatabasePages::ReadAt(std::uint64_t offset, std::span<unsigned char> bytes) {
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(offset));
  file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file_.gcount() == static_cast<std::streamsize>(bytes.size());
}

bool DatabasePages::Read(std::uint32_t page, std::vector<unsigned char>& bytes) {
  bytes.resize(form_.usable);
  return page >= 1 && page <= count_ && ReadAt(std::uint64_t{page - 1} * form_.page_size, bytes);
}

bool DatabasePages::ReadLeaf(std::uint32_t page, Bytes bytes, std::vector<LeafCell>& cells) const {
  return ReadCells(bytes, StartOf(page), size_, cells);
}

bool DatabasePages::ReadInner(std::uint32_t page, Bytes bytes, std::vector<std::uint32_t>& children) const {
  children.clear();
  constexpr std::size_t kHeadSize = 12;
  std::vector<std::uint32_t> places;
  if (!ReadPlaces(bytes, StartOf(page), kInnerPage, kHeadSize, places)) {
    return false;
  }
  for (const std::uint32_t place : places) {
    if (bytes.size() - place < 5) {  // a page and a row id
      return false;
    }
    children.push_back(Four(bytes, place));
  }
  children.push_back(Four(bytes, StartOf(page) + 8));
  for (std::uint32_t& child : children) {
    child = child >= 2 && child <= count_ ? child : 0;
  }
  return true;
}

bool DatabasePages::ReadRecord(const LeafCell& cell, Bytes leaf, std::vector<bool>& taken,
                               std::vector<unsigned char>& record) {
  const Bytes local = leaf.subspan(cell.offset, cell.local);
  record.assign(local.begin(), local.end());
  std::uint32_t next = cell.overflow;
  for (std::uint64_t left = cell.length - cell.local; left > 0;) {
    if (next < 2 || next > count_ || taken[next] || !Read(next, overflow_)) {
      return false;
    }
    taken[next] = true;
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(left, form_.usable - 4));
    record.insert(record.end(), overflow_.begin() + 4,
                  overflow_.begin() + 4 + static_cast<std::ptrdiff_t>(part));
    left -= part;
    next = Four(overflow_, 0);
  }
  return true;
}

bool ReadHead(Bytes start, std::uint64_t length, std::vector<StoredValue>& values, std::size_t& headLength) {
  using Class = StoredValue::Class;
  constexpr std::array<std::uint64_t, 12> kLengths = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
  values.clear();
  Bytes rest = start;
  std::uint64_t head = 0;
  if (!TakeVarint(rest, head) || head > start.size() || head < start.size() - rest.size()) {
    return false;
  }
  headLength = static_cast<std::size_t>(head);
  rest = start.subspan(start.size() - rest.size(), headLength - (start.size() - rest.size()));
  std::uint64_t left = length - head;
  while (!rest.empty()) {
    StoredValue value;
    if (values.size() == kMostColumns || !TakeVarint(rest, value.code) || value.code == 10 ||
        value.code == 11) {
      return false;
    }
    if (value.code >= kLengths.size()) {
      value.type = value.code % 2 == 0 ? Class::kBlob : Class::kText;
      value.length = (value.code - 12) / 2;
    } else {
      value.type = value.code == 0 ? Class::kNull : value.code == 7 ? Class::kReal : Class::kInteger;
      value.length = kLengths[static_cast<std::size_t>(value.code)];
    }
    if (value.length > left) {
      return false;
    }
    left -= value.length;
    values.push_back(value);
  }
  return left == 0;
}

std::int64_t IntegerOf(const StoredValue& value, Bytes bytes) {
  constexpr std::uint64_t kOne = 9;  // the code of a 1 that takes no byte
  if (bytes.empty()) {
    return value.code == kOne ? 1 : 0;
  }
  std::uint64_t number = bytes[0] < 0x80U ? 0 : ~std::uint64_t{0};
  for (const unsigned char byte : bytes) {
    number = number << 8U | byte;
  }
  return static_cast<std::int64_t>(number);
}

double RealOf(Bytes bytes) {
  std::uint64_t bits = 0;
  for (const unsigned char byte : bytes) {
    bits = bits << 8U | byte;
  }
  return std::bit_cast<double>(bits);
}

std::string TextOf(Bytes bytes, TextEncoding encoding) {
  if (encoding != TextEncoding::kUtf16Le && encoding != TextEncoding::kUtf16Be) {
    return {bytes.begin(), bytes.end()};
  }
  const std::size_t high = encoding == TextEncoding::kUtf16Le ? 1 : 0;
  const std::size_t units = bytes.size() / 2;
  const auto unit = [&](std::size_t i) { return bytes[2 * i + high] * 256U + bytes[2 * i + (1 - high)]; };
  constexpr std::uint32_t kNoCharacter = 0xFFFD;
  std::string text;
  text.reserve(units);
  for (std::size_t i = 0; i < units; ++i) {
    std::uint32_t c = unit(i);
    if (c >= 0xD800U && c < 0xE000U) {
      const std::uint32_t second = i + 1 < units ? unit(i + 1) : 0;
      const bool isPair = c < 0xDC00U && second >= 0xDC00U && second < 0xE000U;
      c = isPair ? 0x10000U + ((c - 0xD800U) << 10U) + (second - 0xDC00U) : kNoCharacter;
      i += isPair ? 1 : 0;
    }
    AppendCharacter(c, text);
  }
  return text;
}

}  // namespace qvprj
