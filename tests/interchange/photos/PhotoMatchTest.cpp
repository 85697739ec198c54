// Which photo belongs to which position record.
#include "interchange/mapping/PhotoMatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>

#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

using namespace interchange;
using testing::HasSubstr;

namespace {

constexpr double kMetre = 1.0 / 111'200.0;  // in degrees of latitude

/// A flight to and fro, 20 m and 2 s from exposure to exposure, ids from 101, and its photos: IMG_0101.jpg
/// and so on.
struct Flight {
  std::vector<MatchRecord> records;
  std::vector<MatchPhoto> photos;
  std::vector<std::size_t> truth;  // of each photo its record
};

GroundPosition At(int i) {
  constexpr int kLine = 25;
  const int line = i / kLine;
  const int along = line % 2 == 0 ? i % kLine : kLine - 1 - i % kLine;
  return {8.0 + along * 20.0 * kMetre, line * 60.0 * kMetre};  // at the equator: degrees are equal
}

std::string NameOf(int index) {
  std::string digits = std::to_string(index);
  digits.insert(0, digits.size() < 4 ? 4 - digits.size() : 0, '0');
  return "IMG_" + digits + ".jpg";
}

Flight Flown(int images, bool recordTimes = false, double clockOffset = 0.0) {
  Flight flight;
  for (int i = 0; i < images; ++i) {
    MatchRecord record;
    record.index = 101 + i;
    record.position = At(i);
    if (recordTimes) {
      record.time = DateTime{1.4e9 + 2.0 * i, true};
    }
    flight.records.push_back(record);
    MatchPhoto photo;
    photo.name = NameOf(101 + i);
    photo.position = At(i);
    photo.time = DateTime{1.4e9 + 2.0 * i - clockOffset, false};
    flight.photos.push_back(photo);
    flight.truth.push_back(static_cast<std::size_t>(i));
  }
  return flight;
}

void DropPhoto(Flight& flight, std::size_t i) {
  flight.photos.erase(flight.photos.begin() + static_cast<std::ptrdiff_t>(i));
  flight.truth.erase(flight.truth.begin() + static_cast<std::ptrdiff_t>(i));
}

void ForgetPositions(Flight& flight) {
  for (MatchPhoto& photo : flight.photos) {
    photo.position.reset();
  }
}

void ForgetTimes(Flight& flight) {
  for (MatchPhoto& photo : flight.photos) {
    photo.time.reset();
  }
}

/// Every photo has its record.
void ExpectTruth(const Flight& flight, const Match& match) {
  ASSERT_EQ(match.refusal, "");
  for (std::size_t p = 0; p < flight.photos.size(); ++p) {
    ASSERT_TRUE(match.decisions[p].record) << flight.photos[p].name << ": " << match.decisions[p].reason;
    EXPECT_EQ(*match.decisions[p].record, flight.truth[p]) << flight.photos[p].name;
  }
}

std::size_t CountOf(const Match& match, Tie how) {
  return static_cast<std::size_t>(
      std::count_if(match.decisions.begin(), match.decisions.end(),
                    [how](const Decision& d) { return d.photo && d.record && d.how == how; }));
}

TEST(PhotoMatch, OfAWholeFlightIsByPositionAndOrder) {
  const Flight flight = Flown(100);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kPositionAndOrder), 100U);
  EXPECT_EQ(match.decisions.size(), 100U);
  EXPECT_FALSE(match.clock_offset);
}

TEST(PhotoMatch, FindsTheOffsetOfTheClocks) {
  const Flight flight = Flown(100, true, -7'200.4);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kPositionAndTime), 100U);
  ASSERT_TRUE(match.clock_offset);
  EXPECT_NEAR(*match.clock_offset, -7'200.4, 1e-6);
  EXPECT_EQ(match.clock_pairs, 100U);
  EXPECT_NEAR(*match.decisions[5].seconds, 0.0, 1e-6);
}

TEST(PhotoMatch, BearsMissingPhotosExtraPhotosAndMissingRows) {
  Flight flight = Flown(100);
  for (const std::size_t gone : {97, 96, 50, 49, 20, 0}) {
    DropPhoto(flight, gone);
  }
  // Rows that the log lost: their photos remain, and are extra.
  std::vector<std::size_t> lost = {10, 11, 60};
  for (auto r = lost.rbegin(); r != lost.rend(); ++r) {
    flight.records.erase(flight.records.begin() + static_cast<std::ptrdiff_t>(*r));
  }
  const auto isLost = [&](std::size_t r) { return std::find(lost.begin(), lost.end(), r) != lost.end(); };
  // And one of another place.
  MatchPhoto stranger = flight.photos[0];
  stranger.name = "IMG_9999.jpg";
  stranger.position = GroundPosition{8.5, 0.5};
  flight.photos.push_back(stranger);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ASSERT_EQ(match.refusal, "");
  for (std::size_t p = 0; p < flight.truth.size(); ++p) {
    const std::size_t truth = flight.truth[p];
    if (isLost(truth)) {
      EXPECT_FALSE(match.decisions[p].record) << flight.photos[p].name;
      EXPECT_NE(match.decisions[p].reason, "");
      continue;
    }
    ASSERT_TRUE(match.decisions[p].record) << flight.photos[p].name << match.decisions[p].reason;
    EXPECT_EQ(flight.records[*match.decisions[p].record].index, 101 + static_cast<long long>(truth));
  }
  EXPECT_THAT(match.decisions[flight.photos.size() - 1].reason, HasSubstr("from any record"));
  EXPECT_EQ(match.decisions.size(), flight.photos.size() + 6U) << "the six rows whose photos are missing";
}

TEST(PhotoMatch, DoesNotNeedNamesInOrder) {
  Flight flight = Flown(100);
  ForgetTimes(flight);
  std::mt19937 random(5);
  std::vector<std::size_t> order(100);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::shuffle(order.begin(), order.end(), random);
  Flight shuffled = flight;
  for (std::size_t i = 0; i < order.size(); ++i) {
    shuffled.photos[i] = flight.photos[order[i]];
    shuffled.photos[i].name = NameOf(static_cast<int>(i));
    shuffled.truth[i] = order[i];
  }
  const Match match = MatchPhotos(shuffled.records, shuffled.photos, {});
  ExpectTruth(shuffled, match);
  EXPECT_EQ(CountOf(match, Tie::kPosition), 100U);
  ASSERT_EQ(match.notes.size(), 1U);
  EXPECT_THAT(match.notes[0], HasSubstr("order"));
}

TEST(PhotoMatch, BearsNoisyPositionsWithTimes) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    Flight flight = Flown(100, true, 3'600.0);
    std::mt19937 random(seed);
    const auto noise = [&](double metres) {
      return metres * (static_cast<double>(random() % 2001U) / 1000.0 - 1.0);
    };
    for (MatchPhoto& photo : flight.photos) {
      photo.position->longitude += noise(4.0) * kMetre;
      photo.position->latitude += noise(4.0) * kMetre;
      photo.time->seconds = std::floor(photo.time->seconds + noise(0.3));
    }
    ExpectTruth(flight, MatchPhotos(flight.records, flight.photos, {}));
  }
}

/// Two records, and two photos, at one place.
Flight WithTwins() {
  Flight flight = Flown(60);
  flight.records[31].position = flight.records[30].position;
  flight.photos[31].position = flight.photos[30].position;
  return flight;
}

TEST(PhotoMatch, SettlesTwinsByTheIndexInTheName) {
  Flight flight = WithTwins();
  DropPhoto(flight, 30);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(match.decisions[30].how, Tie::kIndex);
}

TEST(PhotoMatch, SettlesTwinsByOrderWhereBothAreThere) {
  Flight flight = WithTwins();
  for (std::size_t p = 0; p < flight.photos.size(); ++p) {
    flight.photos[p].name =
        std::string(1, static_cast<char>('A' + p / 26)) + static_cast<char>('a' + p % 26) + ".jpg";
  }
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(match.decisions[30].how, Tie::kPositionAndOrder);
}

TEST(PhotoMatch, SettlesTwinsByTime) {
  Flight flight = WithTwins();
  const Flight timed = Flown(60, true, 100.0);
  for (std::size_t i = 0; i < 60; ++i) {
    flight.records[i].time = timed.records[i].time;
    flight.photos[i].time = timed.photos[i].time;
    flight.photos[i].name = "x.jpg";
  }
  DropPhoto(flight, 31);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(match.decisions[30].how, Tie::kPositionAndTime);
}

Flight AmbiguousTwin() {
  Flight flight = WithTwins();
  DropPhoto(flight, 30);
  for (std::size_t p = 0; p < flight.photos.size(); ++p) {
    flight.photos[p].name =
        std::string(1, static_cast<char>('A' + p / 26)) + static_cast<char>('a' + p % 26) + ".jpg";
  }
  return flight;
}

TEST(PhotoMatch, RefusesWhatIsAmbiguousWithTheReason) {
  const Flight flight = AmbiguousTwin();
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  EXPECT_THAT(match.refusal,
              HasSubstr(flight.photos[30].name + " is ambiguous: it lies at 2 records: record 131, 132"));
}

TEST(PhotoMatch, LeavesOutWhatIsAmbiguousOnDemand) {
  Flight flight = AmbiguousTwin();
  MatchOptions options;
  options.leave_ambiguous = true;
  const Match match = MatchPhotos(flight.records, flight.photos, options);
  EXPECT_EQ(match.refusal, "");
  EXPECT_FALSE(match.decisions[30].record);
  EXPECT_THAT(match.decisions[30].reason, HasSubstr("ambiguous"));
  EXPECT_EQ(match.Tied(), 58U);
}

TEST(PhotoMatch, TakesNoNumberForAnIndexThatTiedPhotosDoNotShow) {
  // The name of one open photo has a number, which happens to be the index of one of its records.
  Flight flight = AmbiguousTwin();
  flight.photos[30].name = "132.jpg";
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal, HasSubstr("132.jpg is ambiguous"));
}

TEST(PhotoMatch, RefusesTwoPhotosOfOnePlace) {
  Flight flight = Flown(60);
  ForgetTimes(flight);
  MatchPhoto copy = flight.photos[20];
  flight.photos[20].name = "a.jpg";
  copy.name = "b.jpg";
  flight.photos.insert(flight.photos.begin() + 21, copy);
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal, HasSubstr("as another photo does"));
}

TEST(PhotoMatch, GivesPhotosWithoutPositionTheirIndexOrTheirPlaceInOrder) {
  Flight flight = Flown(60);
  flight.photos[10].position.reset();
  flight.photos[11].position.reset();
  Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(match.decisions[10].how, Tie::kIndex);
  for (MatchPhoto& photo : flight.photos) {
    photo.name = "photo.jpg";
  }
  match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(match.decisions[10].how, Tie::kOrder);
  DropPhoto(flight, 11);
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal, HasSubstr("has no position"));
}

TEST(PhotoMatch, WithoutPositionsIsByTheIndexInTheName) {
  Flight flight = Flown(60);
  ForgetPositions(flight);
  DropPhoto(flight, 40);
  DropPhoto(flight, 10);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kIndex), 58U);
}

TEST(PhotoMatch, FindsTheIndexAmongSeveralNumbers) {
  Flight flight = Flown(60);
  ForgetPositions(flight);
  for (std::size_t i = 0; i < flight.photos.size(); ++i) {
    flight.photos[i].name = "UAV_20230504_" + std::to_string(101 + i) + "_V2.jpg";
  }
  ExpectTruth(flight, MatchPhotos(flight.records, flight.photos, {}));
}

TEST(PhotoMatch, RefusesOneIndexInTwoNames) {
  Flight flight = Flown(60);
  ForgetPositions(flight);
  DropPhoto(flight, 50);
  DropPhoto(flight, 49);
  flight.photos.push_back(flight.photos[3]);
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal,
              HasSubstr("has the same number as IMG_0104.jpg"));
}

TEST(PhotoMatch, RefusesAnIndexThatIsOffByOne) {
  Flight flight = Flown(60);
  ForgetPositions(flight);
  for (std::size_t i = 0; i < flight.photos.size(); ++i) {
    flight.photos[i].name = NameOf(static_cast<int>(102 + i));
  }
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal,
              HasSubstr("order would tie all 60 differently"));
  MatchOptions options;
  options.by = TieBy::kOrder;
  ExpectTruth(flight, MatchPhotos(flight.records, flight.photos, options));
}

TEST(PhotoMatch, RefusesAnIndexThatTimesSpeakAgainst) {
  Flight flight = Flown(60, true);
  ForgetPositions(flight);
  std::mt19937 random(3);
  for (MatchPhoto& photo : flight.photos) {
    photo.time->seconds += static_cast<double>(random() % 5'000U);
  }
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal,
              HasSubstr("times of photos and records"));
}

TEST(PhotoMatch, IsByOrderOnlyWhereCountsAreEqual) {
  Flight flight = Flown(60);
  ForgetPositions(flight);
  for (MatchPhoto& photo : flight.photos) {
    photo.name = "photo.jpg";
  }
  std::reverse(flight.photos.begin(), flight.photos.end());  // their times tell the order
  std::reverse(flight.truth.begin(), flight.truth.end());
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kOrder), 60U);
  DropPhoto(flight, 7);
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal,
              HasSubstr("59 photos and 60 position records"));
}

TEST(PhotoMatch, RefusesPhotosOfAnotherPlace) {
  Flight flight = Flown(60);
  for (MatchPhoto& photo : flight.photos) {
    photo.position->latitude += 0.1;
  }
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal,
              HasSubstr("no photo lies within 9.9 m of a position record (the nearest is"));
}

TEST(PhotoMatch, RefusesPhotosBesideTheirRecords) {
  Flight flight = Flown(60);
  for (std::size_t p = 0; p < flight.photos.size(); ++p) {
    flight.photos[p].position->latitude += (p % 3 == 0 ? 9.0 : 12.0 + static_cast<double>(p % 7)) * kMetre;
  }
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal, HasSubstr("beside the records"));
}

TEST(PhotoMatch, IsByNameWhereTheLogNamesPhotos) {
  Flight flight = Flown(60);
  for (std::size_t i = 0; i < 60; ++i) {
    flight.records[i].name = "DCIM/img_0" + std::to_string(101 + i) + (i % 2 == 0 ? ".JPG" : "");
    flight.photos[i].position = At(0);  // which is no matter then
  }
  std::swap(flight.photos[3], flight.photos[30]);
  std::swap(flight.truth[3], flight.truth[30]);
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kName), 60U);
  flight.records[5].name = flight.records[6].name;
  EXPECT_THAT(MatchPhotos(flight.records, flight.photos, {}).refusal, HasSubstr("names it in 2 rows"));
}

/// A real flight: its photos, and records without times, as a flight database gives them.
Flight RealFlight(const std::string& set) {
  const std::string text = ReadWholeFile(*support::TestData() + "/flights/images_" + set + ".csv");
  Lines lines(text);
  (void)lines.Next();  // img_idx,file,time,lat,lng,...
  Flight flight;
  while (const auto line = lines.Next()) {
    const std::vector<std::string> fields = Fields(*line, ',');
    const GroundPosition position{*NumberOf(fields[4]), *NumberOf(fields[3])};
    flight.truth.push_back(flight.records.size());
    flight.records.push_back({IntegerOf(fields[0]), "", {}, position});
    flight.photos.push_back({fields[1], DateTimeOf(fields[2]), position});
  }
  return flight;
}

TEST(PhotoMatch, OfRealFlightsIsWhatItWas) {
  QVPRJ_NEEDS_TEST_DATA();
  for (const char* set : {"seneca", "caliterra"}) {
    Flight flight = RealFlight(set);
    ExpectTruth(flight, MatchPhotos(flight.records, flight.photos, {}));
    ForgetTimes(flight);
    ExpectTruth(flight, MatchPhotos(flight.records, flight.photos, {}));

    // Every seventh photo is lost, none of the two that one flight took at one place, and the names count
    // from 1.
    Flight part = RealFlight(set);
    for (std::size_t i = part.photos.size(); i-- > 0;) {
      part.photos[i].name = "P" + std::to_string(i + 1) + ".jpg";
      if (i % 7 == 4) {
        DropPhoto(part, i);
      }
    }
    ExpectTruth(part, MatchPhotos(part.records, part.photos, {}));

    // And with positions that are good to 2 m, and a clock an hour off in whole seconds.
    std::mt19937 random(11);
    for (std::size_t p = 0; p < part.photos.size(); ++p) {
      const auto off = [&] { return (static_cast<double>(random() % 4'001U) / 1'000.0 - 2.0) * kMetre; };
      part.photos[p].position->longitude += off();
      part.photos[p].position->latitude += off();
    }
    const Flight timed = RealFlight(set);
    for (std::size_t r = 0; r < part.records.size(); ++r) {
      part.records[r].time = DateTime{timed.photos[r].time->seconds + 3'600.3, true};
    }
    const Match match = MatchPhotos(part.records, part.photos, {});
    ExpectTruth(part, match);
    EXPECT_NEAR(*match.clock_offset, 3'600.3, 1e-3);
  }
}

TEST(PhotoMatch, OfNothingIsRefused) {
  const Flight flight = Flown(3);
  EXPECT_NE(MatchPhotos({}, flight.photos, {}).refusal, "");
  EXPECT_NE(MatchPhotos(flight.records, {}, {}).refusal, "");
}

TEST(PhotoMatch, OfManyPhotosIsFast) {
  Flight flight = Flown(5'000, true, 12.0);
  std::mt19937 random(9);
  for (MatchPhoto& photo : flight.photos) {
    photo.position->latitude += (static_cast<double>(random() % 200U) / 100.0) * kMetre;
  }
  const auto start = std::chrono::steady_clock::now();
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  ExpectTruth(flight, match);
  EXPECT_LT(took.count(), 10.0);  // each with each would be 25 million pairs, many times over
}

TEST(PhotoMatch, OfAFlightThatNeverMovedEnds) {
  Flight flight = Flown(1'500);
  for (std::size_t i = 0; i < flight.photos.size(); ++i) {
    flight.records[i].position = flight.photos[i].position = At(0);
  }
  const Match match = MatchPhotos(flight.records, flight.photos, {});
  ExpectTruth(flight, match);
  EXPECT_EQ(CountOf(match, Tie::kIndex), 1'500U);
}

}  // namespace
