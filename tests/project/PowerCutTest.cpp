// Every power cut that a durable save can meet, on a disk that is simulated: what was not flushed is there, or
// not, or in part.

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>

#include "ProjectFilesTest.h"
#include "support/SystemCalls.h"

namespace {

using qvprj::QvProject;
using support::Bytes;
using support::FileChange;
using Kind = support::FileChange::Kind;
using ::testing::ElementsAre;
namespace fs = std::filesystem;

/// Leaves a rollback journal beside a database, as a program does that died before it changed the database: it
/// holds all pages as they are. Beside any other database it would put them in place of that one's.
void LeaveJournal(const std::string& path) {
  constexpr std::size_t kPageSize = 16384;
  constexpr std::size_t kSectorSize = 512;
  constexpr std::uint32_t kNonce = 0x12345678;
  const Bytes database = support::ReadBytes(path);
  const auto pages = static_cast<std::uint32_t>(database.size() / kPageSize);
  Bytes journal = {0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};
  const auto append = [&journal](std::uint32_t value) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      journal.push_back(static_cast<unsigned char>(value >> shift));
    }
  };
  for (const std::uint32_t value :
       {pages, kNonce, pages, std::uint32_t{kSectorSize}, std::uint32_t{kPageSize}}) {
    append(value);
  }
  journal.resize(kSectorSize);
  for (std::uint32_t page = 0; page < pages; ++page) {
    const auto* const bytes = database.data() + page * kPageSize;
    append(page + 1);
    journal.insert(journal.end(), bytes, bytes + kPageSize);
    std::uint32_t check = kNonce;
    for (std::size_t at = kPageSize - 200; at > 0 && at < kPageSize; at -= 200) {
      check += bytes[at];
    }
    append(check);
  }
  support::WriteBytes(path + "-journal", journal);
}

/// What the power cut does to changes that were not flushed.
enum class Fate {
  kAllKept,
  kAllLost,
  kDataLost,   ///< names are as they were last, contents are not
  kNamesLost,  ///< the other way round
  kTorn,       ///< each change, and each sector of 512 bytes of a write, by chance
};

/// A folder on a disk: what is there for certain, and what only the system's memory has.
class Disk {
 public:
  explicit Disk(const std::string& folder) : folder_(fs::canonical(folder).string()) {
    for (const auto& entry : fs::directory_iterator(folder_)) {
      files_.push_back({support::ReadBytes(entry.path().string()), {}});
      names_[entry.path().string()] = files_.size() - 1;
    }
    current_ = names_;
  }

  void Apply(const FileChange& change) {
    switch (change.kind) {
      case Kind::kCreate:
        files_.push_back({});
        Name(change, files_.size() - 1);
        return;
      case Kind::kRename:
      case Kind::kRemove:
        Name(change, 0);
        return;
      case Kind::kWrite:
      case Kind::kTruncate:
        FileAt(change.path).unflushed.push_back(change);
        return;
      case Kind::kFlush:
        if (change.path == folder_) {
          names_ = current_;
          unflushed_.clear();
        } else if (File& file = FileAt(change.path); true) {
          for (const FileChange& write : file.unflushed) {
            Write(file.bytes, write, Fate::kAllKept, nullptr);
          }
          file.unflushed.clear();
        }
    }
  }

  /// Makes the folder as it is found after a power cut now.
  void CutPower(Fate fate, std::uint64_t seed, const std::string& found) const {
    support::Random random(seed);
    const bool keepsNames = fate == Fate::kAllKept || fate == Fate::kDataLost;
    std::map<std::string, std::size_t> names = names_;
    for (const auto& [change, file] : unflushed_) {
      if (keepsNames || (fate == Fate::kTorn && random.Below(2) == 0)) {
        Rename(names, change, file);
      }
    }
    for (const auto& [path, index] : names) {
      const File& file = files_[index];
      Bytes bytes = file.bytes;
      if (fate != Fate::kAllLost && fate != Fate::kDataLost) {
        for (const FileChange& write : file.unflushed) {
          Write(bytes, write, fate, &random);
        }
      }
      support::WriteBytes((fs::path(found) / fs::path(path).filename()).string(), bytes);
    }
  }

 private:
  struct File {
    Bytes bytes;
    std::vector<FileChange> unflushed;
  };

  File& FileAt(const std::string& path) { return files_[current_.at(path)]; }

  void Name(const FileChange& change, std::size_t file) {
    Rename(current_, change, file);
    unflushed_.emplace_back(change, file);
  }

  static void Rename(std::map<std::string, std::size_t>& names, const FileChange& change, std::size_t file) {
    if (change.kind == Kind::kCreate) {
      names[change.path] = file;
      return;
    }
    const auto found = names.find(change.path);
    if (found == names.end()) {
      return;
    }
    if (change.kind == Kind::kRename) {
      names[change.to] = found->second;
    }
    names.erase(change.path);
  }

  static void Write(Bytes& bytes, const FileChange& change, Fate fate, support::Random* random) {
    constexpr std::size_t kSector = 512;
    if (change.kind == Kind::kTruncate) {
      if (fate != Fate::kTorn || random->Below(2) == 0) {
        bytes.resize(change.offset);
      }
      return;
    }
    for (std::size_t i = 0; i < change.bytes.size();) {
      const std::size_t at = change.offset + i;
      const std::size_t part = std::min(kSector - at % kSector, change.bytes.size() - i);
      if (fate != Fate::kTorn || random->Below(2) == 0) {
        bytes.resize(std::max(bytes.size(), at + part));
        std::copy_n(change.bytes.begin() + static_cast<std::ptrdiff_t>(i), part,
                    bytes.begin() + static_cast<std::ptrdiff_t>(at));
      }
      i += part;
    }
  }

  std::string folder_;
  std::vector<File> files_;
  std::map<std::string, std::size_t> names_;    // for certain
  std::map<std::string, std::size_t> current_;  // as programs see them
  std::vector<std::pair<FileChange, std::size_t>> unflushed_;
};

class PowerCutTest : public ProjectFilesTest {
 protected:
  static QvProject Project(std::uint64_t seed) {
    support::ProjectShape shape;
    shape.seed = seed;
    shape.features_per_image = 3000;  // several buffers
    shape.images = 4;
    shape.pairs = 6;
    return support::BuildProject(shape);
  }

  /// What opening the project in `folder` gives: the number of the expected project that it is, -1 when it
  /// cannot be opened, -2 when it is none of them.
  static int Found(const std::string& folder, const std::vector<QvProject*>& expected) {
    QvProject opened;
    if (!opened.OpenPrj(folder + "/p.db")) {
      return -1;
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
      opened.GetPrjInfo().file_path = expected[i]->GetPrjInfo().file_path;
      if (support::FirstDifference(opened, *expected[i]).empty()) {
        return static_cast<int>(i);
      }
    }
    return -2;
  }

  /// Cuts the power after each change that `save` makes in the folder, in each way, and looks at what is found:
  /// `before` (null: nothing) or `after`.
  void CutEverywhere(const std::function<void()>& save, QvProject* before, QvProject& after) {
    constexpr int kTornWays = 12;
    Disk disk(folder_.Path().string());
    const std::vector<FileChange> changes = support::ChangesBelow(folder_.Path().string(), save);
    ASSERT_GT(changes.size(), 20U);
    std::vector<QvProject*> expected = {&after};
    if (before != nullptr) {
      expected.push_back(before);
    }
    std::set<int> all;
    int states = 0;
    for (std::size_t done = 0; done <= changes.size(); ++done) {
      std::vector<std::pair<Fate, int>> ways = {
          {Fate::kAllKept, 0}, {Fate::kAllLost, 0}, {Fate::kDataLost, 0}, {Fate::kNamesLost, 0}};
      for (int way = 0; way < kTornWays; ++way) {
        ways.emplace_back(Fate::kTorn, static_cast<int>(done) * kTornWays + way);
      }
      for (const auto& [fate, seed] : ways) {
        ++states;
        const support::TempFolder found;
        disk.CutPower(fate, static_cast<std::uint64_t>(seed), found.Path().string());
        const int first = Found(found.Path().string(), expected);
        const bool nothingIsRight = before == nullptr && first == -1;
        ASSERT_TRUE(first >= 0 || nothingIsRight)
            << "after change " << done << " of " << changes.size() << ", fate " << static_cast<int>(fate)
            << ", seed " << seed << ": " << first;
        ASSERT_EQ(Found(found.Path().string(), expected), first) << "opened a second time";
        all.insert(first);
        if (fate == Fate::kAllKept) {
          // Life goes on: the next save works, and leaves nothing of the one before.
          QvProject next = Project(9);
          ASSERT_TRUE(next.SaveDurably(found.File("p.db")));
          ASSERT_THAT(found.Names(), ElementsAre("p.db", "p.gb"));
          ASSERT_EQ(Found(found.Path().string(), {&next}), 0);
        }
      }
      if (done < changes.size()) {
        disk.Apply(changes[done]);
      }
    }
    EXPECT_EQ(all.size(), 2U) << "both have been seen";
    RecordProperty("changes", static_cast<int>(changes.size()));
    RecordProperty("states", states);
    EXPECT_EQ(Found(folder_.Path().string(), expected), 0);
  }
};

TEST_F(PowerCutTest, LeavesTheOldPairOrTheNewOne) {
  QvProject before = Project(1);
  QvProject after = Project(2);
  ASSERT_TRUE(before.Save(Path("p.db")));
  CutEverywhere([&] { ASSERT_TRUE(after.SaveDurably(Path("p.db"))); }, &before, after);
}

TEST_F(PowerCutTest, LeavesNothingOrTheFirstPair) {
  QvProject after = Project(2);
  CutEverywhere([&] { ASSERT_TRUE(after.SaveDurably(Path("p.db"))); }, nullptr, after);
}

TEST_F(PowerCutTest, AJournalOfTheOldDatabaseDoesNotHarmTheNewOne) {
  QvProject before = Project(1);
  QvProject after = Project(2);
  ASSERT_TRUE(before.Save(Path("p.db")));
  LeaveJournal(Path("p.db"));
  CutEverywhere([&] { ASSERT_TRUE(after.SaveDurably(Path("p.db"))); }, &before, after);
}

TEST_F(PowerCutTest, TheJournalOfThisTestIsOneThatHarms) {
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveJournal(Path("p.db"));
  QvProject other = Project(2);
  ASSERT_TRUE(other.Save(Path("q.db")));
  fs::copy_file(Path("q.db"), Path("p.db"), fs::copy_options::overwrite_existing);
  EXPECT_NE(Found(folder_.Path().string(), {&other}), 0);
}

TEST_F(PowerCutTest, OneSaveAfterTheOther) {
  QvProject before = Project(1);
  QvProject after = Project(2);
  ASSERT_TRUE(before.Save(Path("p.db")));
  // The same project as at first, so that whatever is found is one of two.
  CutEverywhere(
      [&] {
        ASSERT_TRUE(after.SaveDurably(Path("p.db")) && before.SaveDurably(Path("p.db")) &&
                    after.SaveDurably(Path("p.db")));
      },
      &before, after);
}

}  // namespace
