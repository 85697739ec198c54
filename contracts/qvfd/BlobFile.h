// The file of a blob container, read and written piece by piece: for blobs of which a second copy in memory
// would cost as much as all the rest. `BinaryData` is the same file with whole blobs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "qvfd/ByteStream.h"
#include "qvfd/Export.h"

namespace qvfd {

/// Reads the blobs of a container file, one after the other in any order. What it hands out is verified only
/// when all has been read: a caller keeps nothing for which `IsSound` is false in the end.
class QVFD_API BlobFileReader {
 public:
  BlobFileReader();
  ~BlobFileReader();
  BlobFileReader(const BlobFileReader&) = delete;
  BlobFileReader& operator=(const BlobFileReader&) = delete;

  /// Opens the file at `path` and reads its header and directory. False, and no blobs, when it is missing, is
  /// no regular file, is no container, or its header or directory is damaged.
  [[nodiscard]] bool Open(const std::string& path) noexcept;

  /// The same for a file whose header may be damaged: the directory is looked for at the end of the file, where
  /// its own check value shows it. Tag and stamp are unknown then, and 0.
  [[nodiscard]] bool OpenWithoutHeader(const std::string& path) noexcept;

  /// The tag that the file carries; 0 when none is open.
  [[nodiscard]] int Tag() const;

  /// The stamp that the file carries; 0 when it carries none, or none is open.
  [[nodiscard]] std::uint32_t Stamp() const;

  /// The ids of all blobs, ascending.
  [[nodiscard]] std::vector<int> Ids() const;

  /// Goes to the start of a blob. False when there is none with that id, or it was begun before.
  [[nodiscard]] bool Begin(int id) noexcept;

  /// The bytes of the blob that are still to be read.
  [[nodiscard]] std::size_t Remaining() const { return static_cast<std::size_t>(end_ - next_) + behind_; }

  /// As `ByteReader::Read`.
  template <class... T>
  [[nodiscard]] bool Read(T&... values) {
    constexpr std::size_t kSize = (sizeof(T) + ...);
    if (static_cast<std::size_t>(end_ - next_) < kSize && !Fill(kSize)) {
      return false;
    }
    CopyValues(next_, values...);
    next_ += kSize;
    return true;
  }

  /// As `ByteReader::ReadArray`; on false `values` may hold anything.
  template <class T>
  [[nodiscard]] bool ReadArray(std::size_t count, std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count > Remaining() / sizeof(T)) {
      return false;
    }
    const std::size_t size = count * sizeof(T);
    if (size <= kSmall && (static_cast<std::size_t>(end_ - next_) >= size || Fill(size))) {
      AssignElements(next_, count, values);
      next_ += size;
      return true;
    }
    values.resize(count);
    return ReadLarge(values.data(), size);
  }

  /// Reads what has not been read yet of any blob, and tells whether every check value of the file holds.
  [[nodiscard]] bool IsSound() noexcept;

  /// Reads what has not been read yet of one blob, and tells whether its check value holds; false when there
  /// is no blob with that id.
  [[nodiscard]] bool IsSound(int id) noexcept;

 private:
  static constexpr std::size_t kSmall = std::size_t{256} << 10U;

  [[nodiscard]] bool Fill(std::size_t size) noexcept;
  [[nodiscard]] bool ReadLarge(void* data, std::size_t size) noexcept;
  void Finish() noexcept;

  struct File;
  [[nodiscard]] bool OpenBy(const std::string& path,
                            bool (*readDirectory)(File& file, std::uint64_t fileSize)) noexcept;

  const unsigned char* next_ = nullptr;  // what is in the buffer of the blob and not handed out yet
  const unsigned char* end_ = nullptr;
  std::size_t behind_ = 0;  // bytes of the blob behind the buffer

  std::unique_ptr<File> file_;
};

/// What a container file says of itself, beside its blobs.
struct BlobFileLabel {
  int tag = 0;              ///< stored, not interpreted
  std::uint32_t stamp = 0;  ///< shared by files that belong together; 0 for none
};

/// Writes the blobs of a container file, in ascending order of their ids. A failure is told by
/// `WriteBlobFile` and `WriteBlobFileInPlace`.
class QVFD_API BlobFileWriter {
 public:
  ~BlobFileWriter();
  BlobFileWriter(const BlobFileWriter&) = delete;
  BlobFileWriter& operator=(const BlobFileWriter&) = delete;

  /// Begins a blob, and ends the one before. Its id must be above that of the one before.
  void Begin(int id);

  /// Appends one value: an integer, a float or a double.
  template <class T>
  void Write(T value) {
    static_assert(std::is_arithmetic_v<T>);
    WriteBytes(&value, sizeof(T));
  }

  /// Appends the elements as they stand in memory.
  template <class T>
  void WriteArray(const std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    WriteBytes(values.data(), values.size() * sizeof(T));
  }

 private:
  void WriteBytes(const void* data, std::size_t size) {
    if (size > room_) {
      WritePastBuffer(data, size);
    } else if (size > 0) {
      std::memcpy(next_, data, size);
      next_ += size;
      room_ -= size;
    }
  }
  void WritePastBuffer(const void* data, std::size_t size);
  friend QVFD_API bool WriteBlobFileInPlace(const std::string& path, BlobFileLabel label,
                                            const std::function<bool(BlobFileWriter&)>& fill);
  BlobFileWriter(const std::string& path, BlobFileLabel label);
  void Check();
  void Flush();
  void End();
  [[nodiscard]] std::uint64_t Position() const;
  [[nodiscard]] bool Finish();

  unsigned char* next_ = nullptr;  // where the next byte goes in the buffer
  std::size_t room_ = 0;           // in the buffer

  struct File;
  std::unique_ptr<File> file_;
};

/// Writes a container file at `path`: `fill` gets a writer and puts the blobs into it. The file is written
/// beside the target and renamed over it, so a reader never sees half a file, and a write that fails leaves
/// what was there and no other trace. False when `fill` is false or throws, when the file cannot be written,
/// or when `path` names something that is no file. What `fill` throws is passed on.
[[nodiscard]] QVFD_API bool WriteBlobFile(const std::string& path, BlobFileLabel label,
                                          const std::function<bool(BlobFileWriter&)>& fill);

/// The same, straight at `path`: for a caller who has chosen a temporary name. What was there is lost in any
/// case, and on false, or when `fill` throws, part of the new file may be there.
[[nodiscard]] QVFD_API bool WriteBlobFileInPlace(const std::string& path, BlobFileLabel label,
                                                 const std::function<bool(BlobFileWriter&)>& fill);

}  // namespace qvfd
