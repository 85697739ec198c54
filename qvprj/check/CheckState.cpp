// What a check knows while it goes through the files of a project.
#include "qvprj/check/CheckState.h"

#include <iterator>

namespace qvprj {
namespace {

/// More of a kind than anybody reads are only counted.
constexpr std::size_t kMostListed = 10;

std::int64_t CountOf(const FeatureCounts& features, int image) {
  const auto found = features.find(image);
  return found == features.end() ? 0 : static_cast<std::int64_t>(found->second);
}

}  // namespace

void Findings::Add(Finding finding) {
  const Key key{finding.file, finding.table, finding.blob, finding.kind};
  const auto [entry, isNew] = index_.try_emplace(key, groups_.size());
  if (isNew) {
    groups_.emplace_back();
  }
  Group& group = groups_[entry->second];
  group.more += finding.more;
  finding.more = 0;
  if (group.listed.size() < kMostListed) {
    group.listed.push_back(std::move(finding));
  } else {
    ++group.more;
  }
}

void Findings::Append(Findings others) {
  for (Group& group : others.groups_) {
    group.listed.back().more = group.more;
    for (Finding& finding : group.listed) {
      Add(std::move(finding));
    }
  }
}

void Findings::MoveInto(ProjectReport& report) {
  for (Group& group : groups_) {
    std::size_t& count = group.listed.front().severity == Severity::kError ? report.errors : report.warnings;
    count += group.listed.size() + group.more;
    group.listed.back().more = group.more;
    std::move(group.listed.begin(), group.listed.end(), std::back_inserter(report.findings));
  }
  groups_.clear();
  index_.clear();
}

bool IdSet::Insert(int id) {
  flags_.clear();
  return ids_.insert(id).second;
}

void IdSet::Settle() {
  if (ids_.empty()) {
    return;
  }
  constexpr std::size_t kFlagsPerId = 64;  // wider apart, flags would take much memory for little
  const std::int64_t range = std::int64_t{*ids_.rbegin()} - *ids_.begin() + 1;
  if (static_cast<std::uint64_t>(range) > kFlagsPerId * ids_.size()) {
    return;
  }
  first_ = *ids_.begin();
  flags_.assign(static_cast<std::size_t>(range), 0);
  for (const int id : ids_) {
    flags_[static_cast<std::size_t>(id - first_)] = 1;
  }
}

MatchIndexCheck::MatchIndexCheck(const CheckState& state, int left, int right)
    : left_(state.features_known ? CountOf(state.features, left) : std::int64_t{1} << 31),
      right_(state.features_known ? CountOf(state.features, right) : std::int64_t{1} << 31) {}

std::string MatchIndexCheck::Complaint() const {
  return outside_ == 0 ? std::string()
                       : std::to_string(outside_) + " of " + std::to_string(matches_) +
                             " matches name a feature that its image does not have";
}

}  // namespace qvprj
