#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "qvfd/ImageInfo.h"

namespace {

using qvfd::EOP;
using qvfd::ImageInfo;
using qvfd::ImageInfoExt;
using qvfd::ImageInfoSet;

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

constexpr EOP kFlown{1.5, 2.5, 3.5, 0.1, 0.2, 0.3};
constexpr EOP kAdjusted{1.6, 2.6, 3.6, 0.11, 0.21, 0.31};

void Add(ImageInfoSet& set, int id, const std::string& name) {
  set.AddImage(id, name, "/photos/" + name, kFlown, 1, 2, true);
}

// Images with the given ids; each is named after its position.
ImageInfoSet SetOf(const std::vector<int>& ids) {
  ImageInfoSet set;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    Add(set, ids[i], "at" + std::to_string(i));
  }
  return set;
}

std::string NameOf(const ImageInfo* image) {
  return image == nullptr ? "none" : image->Name();
}

TEST(EOP, StartsAtZero) {
  EXPECT_EQ(EOP(), (EOP{0, 0, 0, 0, 0, 0}));
}

TEST(ImageInfo, HasWhatItWasMadeOf) {
  const ImageInfo image(7, "DJI\xB1\xBE.JPG", "/p/DJI.JPG", kFlown);
  EXPECT_EQ(image.Id(), 7);
  EXPECT_EQ(image.Name(), "DJI\xB1\xBE.JPG");
  EXPECT_EQ(image.Path(), "/p/DJI.JPG");
  EXPECT_EQ(image.GetEOP(), kFlown);
}

TEST(ImageInfo, NeverUpdatedHasTheOrientationItWasAddedWith) {
  const ImageInfo image(7, "a", "b", kFlown);
  EXPECT_EQ(image.GetUpdatedEOP(), kFlown);
}

TEST(ImageInfo, UpdateLeavesTheFirstOrientationAlone) {
  ImageInfo image(7, "a", "b", kFlown);
  image.Update(kAdjusted);
  EXPECT_EQ(image.GetEOP(), kFlown);
  EXPECT_EQ(image.GetUpdatedEOP(), kAdjusted);
}

TEST(ImageInfo, SetEOPLeavesTheUpdatedOrientationAlone) {
  ImageInfo image(7, "a", "b", kFlown);
  image.SetEOP(kAdjusted);
  EXPECT_EQ(image.GetEOP(), kAdjusted);
  EXPECT_EQ(image.GetUpdatedEOP(), kFlown);
}

TEST(ImageInfo, TheLastUpdateCounts) {
  ImageInfo image(7, "a", "b", kFlown);
  image.Update(kAdjusted);
  image.Update(EOP{});
  EXPECT_EQ(image.GetUpdatedEOP(), EOP{});
}

TEST(ImageInfo, NameAndPathCanBeReplaced) {
  ImageInfo image(7, "a", "b", kFlown);
  image.SetName("new name");
  image.SetPath("new path");
  EXPECT_EQ(image.Name(), "new name");
  EXPECT_EQ(image.Path(), "new path");
  EXPECT_EQ(image.Id(), 7);
}

TEST(ImageInfoSet, StartsEmpty) {
  ImageInfoSet set;
  EXPECT_EQ(set.Size(), 0);
  EXPECT_EQ(set.GetImage(0), nullptr);
  EXPECT_EQ(set.GetImageExt(0), nullptr);
  EXPECT_EQ(set.FindImage(0), nullptr);
  EXPECT_EQ(set.begin(), set.end());
}

TEST(ImageInfoSet, AddImageKeepsAllItIsGiven) {
  ImageInfoSet set;
  set.AddImage(40, "name", "path", kFlown, 5, 6, false);
  ASSERT_EQ(set.Size(), 1);
  EXPECT_EQ(*set.GetImage(0), ImageInfo(40, "name", "path", kFlown));
  EXPECT_EQ(set.GetImageExt(0)->camera_id, 5);
  EXPECT_EQ(set.GetImageExt(0)->strip_id, 6);
  EXPECT_FALSE(set.GetImageExt(0)->enabled);
}

TEST(ImageInfoSet, AddImageSetsBothOrientations) {
  ImageInfoSet set = SetOf({4});
  EXPECT_EQ(set.GetImage(0)->GetEOP(), kFlown);
  EXPECT_EQ(set.GetImage(0)->GetUpdatedEOP(), kFlown);
}

TEST(ImageInfoSet, PositionsFollowTheOrderOfAdding) {
  ImageInfoSet set = SetOf({30, -10, 20});
  ASSERT_EQ(set.Size(), 3);
  EXPECT_EQ(set.GetImage(0)->Id(), 30);
  EXPECT_EQ(set.GetImage(1)->Id(), -10);
  EXPECT_EQ(set.GetImage(2)->Id(), 20);
}

TEST(ImageInfoSet, IdsFromZeroReachTheSameImageBothWays) {
  ImageInfoSet set = SetOf({0, 1, 2});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(set.GetImage(i), set.FindImage(i));
    EXPECT_EQ(set.GetImageExt(i), set.FindImageExt(i));
  }
}

TEST(ImageInfoSet, APositionHidesTheIdOfTheSameValue) {
  ImageInfoSet set = SetOf({1, 2, 3});
  EXPECT_EQ(NameOf(set.GetImage(1)), "at1");
  EXPECT_EQ(NameOf(set.GetImage(2)), "at2");
  EXPECT_EQ(NameOf(set.FindImage(1)), "at0");
}

TEST(ImageInfoSet, WhereNoPositionIsTheArgumentIsAnId) {
  ImageInfoSet set = SetOf({1, 2, 3, -7, 500});
  EXPECT_EQ(NameOf(set.GetImage(500)), "at4");
  EXPECT_EQ(NameOf(set.GetImage(-7)), "at3");
  EXPECT_EQ(set.GetImageExt(500), set.GetImageExt(4));
}

TEST(ImageInfoSet, NeitherPositionNorIdIsNull) {
  ImageInfoSet set = SetOf({1, 2, 3});
  for (const int argument : {4, 5, -1, kLowest, kHighest}) {
    EXPECT_EQ(set.GetImage(argument), nullptr) << argument;
    EXPECT_EQ(set.GetImageExt(argument), nullptr) << argument;
    EXPECT_EQ(set.FindImage(argument), nullptr) << argument;
    EXPECT_EQ(set.FindImageExt(argument), nullptr) << argument;
  }
}

TEST(ImageInfoSet, TheIdJustBehindThePositionsIsFound) {
  ImageInfoSet set = SetOf({1, 2, 3});
  EXPECT_EQ(NameOf(set.GetImage(3)), "at2");
}

TEST(ImageInfoSet, ExtremeIdsAreFound) {
  ImageInfoSet set = SetOf({kLowest, kHighest, -1, 0});
  EXPECT_EQ(NameOf(set.FindImage(kLowest)), "at0");
  EXPECT_EQ(NameOf(set.FindImage(kHighest)), "at1");
  EXPECT_EQ(NameOf(set.FindImage(-1)), "at2");
  EXPECT_EQ(NameOf(set.FindImage(0)), "at3");
  EXPECT_EQ(NameOf(set.GetImage(kLowest)), "at0");
}

TEST(ImageInfoSet, ARepeatedIdFindsTheImageAddedLast) {
  ImageInfoSet set = SetOf({5, 6, 5});
  EXPECT_EQ(set.Size(), 3);
  EXPECT_EQ(NameOf(set.FindImage(5)), "at2");
  EXPECT_EQ(set.FindImageExt(5), set.GetImageExt(2));
  EXPECT_EQ(NameOf(set.GetImage(0)), "at0");
}

TEST(ImageInfoSet, ExtensionsStayWithTheirImages) {
  ImageInfoSet set;
  for (int i = 0; i < 100; ++i) {
    set.AddImage(1000 - i, "n", "p", kFlown, i, 2 * i, i % 3 == 0);
  }
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(*set.GetImageExt(i), (ImageInfoExt{.strip_id = 2 * i, .camera_id = i, .enabled = i % 3 == 0}));
    EXPECT_EQ(set.FindImageExt(1000 - i), set.GetImageExt(i));
  }
}

TEST(ImageInfoSet, ChangesThroughPointersStay) {
  ImageInfoSet set = SetOf({8, 9});
  set.FindImage(9)->Update(kAdjusted);
  set.FindImageExt(9)->enabled = false;
  EXPECT_EQ(set.GetImage(1)->GetUpdatedEOP(), kAdjusted);
  EXPECT_FALSE(set.GetImageExt(1)->enabled);
  EXPECT_TRUE(set.GetImageExt(0)->enabled);
}

TEST(ImageInfoSet, AConstantSetGivesTheSameImages) {
  ImageInfoSet set = SetOf({8, 9});
  const ImageInfoSet& constant = set;
  EXPECT_EQ(constant.GetImage(1), set.GetImage(1));
  EXPECT_EQ(constant.GetImageExt(1), set.GetImageExt(1));
  EXPECT_EQ(constant.FindImage(8), set.FindImage(8));
  EXPECT_EQ(constant.FindImageExt(8), set.FindImageExt(8));
  EXPECT_EQ(constant.GetImage(9), set.GetImage(1));
  EXPECT_EQ(constant.GetImage(10), nullptr);
}

TEST(ImageInfoSet, IteratesInTheOrderOfAdding) {
  const ImageInfoSet set = SetOf({30, -10, 20});
  std::vector<int> ids;
  for (const ImageInfo& image : set) {
    ids.push_back(image.Id());
  }
  EXPECT_EQ(ids, (std::vector<int>{30, -10, 20}));
}

TEST(ImageInfoSet, ACopyIsIndependentOfItsSource) {
  ImageInfoSet source = SetOf({1, 2});
  const ImageInfoSet copy = source;
  source.FindImage(1)->SetName("changed");
  source.FindImageExt(1)->camera_id = 99;
  Add(source, 3, "added");
  EXPECT_EQ(copy.Size(), 2);
  EXPECT_EQ(NameOf(copy.FindImage(1)), "at0");
  EXPECT_EQ(copy.FindImageExt(1)->camera_id, 1);
  EXPECT_EQ(copy.FindImage(3), nullptr);
}

TEST(ImageInfoSet, AnAssignedSetReplacesAllItHeld) {
  ImageInfoSet target = SetOf({7, 8, 9});
  const ImageInfoSet source = SetOf({1});
  target = source;
  EXPECT_EQ(target.Size(), 1);
  EXPECT_EQ(target.FindImage(8), nullptr);
  target.FindImage(1)->SetName("changed");
  EXPECT_EQ(NameOf(source.FindImage(1)), "at0");
}

TEST(ImageInfoSet, ACopyOutlivesItsSource) {
  ImageInfoSet copy;
  {
    const ImageInfoSet source = SetOf({1, 2});
    copy = source;
  }
  EXPECT_EQ(NameOf(copy.FindImage(2)), "at1");
}

TEST(ImageInfoSet, ASetAssignedToItselfStays) {
  ImageInfoSet set = SetOf({1, 2});
  const ImageInfoSet& itself = set;
  set = itself;
  EXPECT_EQ(set.Size(), 2);
  EXPECT_EQ(NameOf(set.FindImage(2)), "at1");
}

TEST(ImageInfoSet, ClearRemovesAllImages) {
  ImageInfoSet set = SetOf({1, 2});
  set.Clear();
  EXPECT_EQ(set.Size(), 0);
  EXPECT_EQ(set.GetImage(1), nullptr);
  EXPECT_EQ(set.FindImage(1), nullptr);
  EXPECT_EQ(set.FindImageExt(2), nullptr);
}

TEST(ImageInfoSet, IsUsableAfterClear) {
  ImageInfoSet set = SetOf({1, 2, 3});
  set.Clear();
  Add(set, 2, "again");
  EXPECT_EQ(set.Size(), 1);
  EXPECT_EQ(NameOf(set.FindImage(2)), "again");
  EXPECT_EQ(set.FindImage(1), nullptr);
}

TEST(ImageInfoSet, ReserveKeepsImagesInPlace) {
  ImageInfoSet set;
  set.Reserve(1000);
  Add(set, 0, "first");
  const ImageInfo* first = set.GetImage(0);
  for (int id = 1; id < 1000; ++id) {
    Add(set, id, "later");
  }
  EXPECT_EQ(set.GetImage(0), first);
}

TEST(ImageInfoSet, ReserveOfNothingSensibleDoesNothing) {
  ImageInfoSet set = SetOf({1, 2});
  set.Reserve(0);
  set.Reserve(-5);
  EXPECT_EQ(set.Size(), 2);
  EXPECT_EQ(NameOf(set.FindImage(2)), "at1");
}

// The same look-ups in a set and in a map that notes the position of the last image with an id.
void ExpectLikeAMap(const std::vector<int>& ids) {
  const ImageInfoSet set = SetOf(ids);
  std::map<int, std::size_t> model;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    model[ids[i]] = i;
  }
  ASSERT_EQ(set.Size(), static_cast<int>(ids.size()));
  for (const auto& [id, position] : model) {
    ASSERT_EQ(set.FindImage(id), set.GetImage(static_cast<int>(position))) << id;
    ASSERT_EQ(set.FindImage(id)->Id(), id);
    ASSERT_EQ(set.FindImage(id + 1) != nullptr, model.contains(id + 1)) << id + 1;
  }
}

TEST(ImageInfoSet, FindsManyAscendingIds) {
  std::vector<int> ids(100000);
  std::iota(ids.begin(), ids.end(), 1);
  ExpectLikeAMap(ids);
}

TEST(ImageInfoSet, FindsManyDescendingIds) {
  std::vector<int> ids(100000);
  std::iota(ids.rbegin(), ids.rend(), -50000);
  ExpectLikeAMap(ids);
}

TEST(ImageInfoSet, FindsManyRandomIds) {
  std::mt19937 random{5};
  std::uniform_int_distribution<int> anyId(kLowest, kHighest - 1);
  std::vector<int> ids(100000);
  std::generate(ids.begin(), ids.end(), [&] { return anyId(random); });
  ExpectLikeAMap(ids);
}

TEST(ImageInfoSet, FindsManyRepeatedIds) {
  std::mt19937 random{6};
  std::uniform_int_distribution<int> fewIds(-200, 200);
  std::vector<int> ids(100000);
  std::generate(ids.begin(), ids.end(), [&] { return fewIds(random); });
  ExpectLikeAMap(ids);
}

}  // namespace
