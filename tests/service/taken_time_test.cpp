// Texts that tell a time, as cameras and programs write them.
#include "probe/taken_time.h"

#include <gtest/gtest.h>

#include <map>

#include "support/time_zone.h"

namespace {

std::string Moment(std::string_view text) {
  const auto read = TimeIn(text);
  if (!read) return "none";
  return read->kind == TimeKind::kMoment ? read->text : "no moment: " + read->text;
}

std::string Day(std::string_view text) {
  const auto read = TimeIn(text);
  if (!read) return "none";
  return read->kind == TimeKind::kDay ? read->text : "no day: " + read->text;
}

std::string Rough(std::string_view text) {
  const auto read = TimeIn(text);
  if (!read) return "none";
  return read->kind == TimeKind::kRough ? read->text : "not rough: " + read->text;
}

TEST(TakenTime, AMomentStandsInManyForms) {
  for (const char* text :
       {"2019:03:04 10:11:12", "2019-03-04T10:11:12.7+02:00", "2019/03/04 10:11:12", "2019.03.04 10:11:12",
        "2019:03:04 10.11.12", "2019:03:04:10:11:12", "2019-03-04-10:11:12", "2019:03:04, 10:11:12",
        "2019/ 3/ 4  10:11:12", "2019:3:4 10:11:12", "2019:03:04 10:11:12Z", "2019_03_04 10:11:12",
        "2019:03:04 10:11:12 AM", "2019:03:04 10:11:12 Amsterdam", "2019:03:04 10:11:12 pacific"})
    EXPECT_EQ(Moment(text), "2019-03-04 10:11:12") << text;
  EXPECT_EQ(Moment("2005/11/28/ 09:19"), "2005-11-28 09:19:00");
  EXPECT_EQ(Moment("2019:03:04 00:00:00"), "2019-03-04 00:00:00");
}

TEST(TakenTime, ClocksOfTwelveHoursAreConverted) {
  const std::map<std::string, std::string> clocks = {
      {"08:15:03 PM", "20:15:03"}, {"08:15:03PM", "20:15:03"},         {"8:15:03 pm", "20:15:03"},
      {"08:15:03 Am", "08:15:03"}, {"12:05:00 AM", "00:05:00"},        {"12:05:00 PM", "12:05:00"},
      {"1:42PM", "13:42:00"},      {"08:15:03\xC2\xA0PM", "20:15:03"}, {"08:15:03\xE2\x80\xAFPM", "20:15:03"},
      {"15:04:05 PM", "15:04:05"}};
  for (const auto& [written, read] : clocks)
    EXPECT_EQ(Moment("2001:01:27 " + written), "2001-01-27 " + read) << written;
}

TEST(TakenTime, ADayAloneIsItsMidnight) {
  for (const char* text : {"2019-03-04", "2019.03.04", "2019:03:04 ", "2019:03:04   :  :  ", "2019-03-04T",
                           "2019-03-04Z", "2019-03-04\r\n"})
    EXPECT_EQ(Day(text), "2019-03-04 00:00:00") << text;
}

TEST(TakenTime, ADayWithSomethingUnreadIsRough) {
  for (const char* text : {"2019:03:04 soon", "2019:03:04 25:00:00", "2019:03:04 10:60:00",
                           "2019:03:04 10:11:61", "2019:03:04 24:60:00", "2019:03:04 10", "2019-03-04+02:00",
                           "2019-03-04-05:00", "2019:03:04 123:11:12", "2019:03:04 10:111:12"})
    EXPECT_EQ(Rough(text), "2019-03-04 00:00:00") << text;
}

TEST(TakenTime, AMonthOrAYearIsItsFirstDay) {
  EXPECT_EQ(Rough("1985"), "1985-01-01 00:00:00");
  EXPECT_EQ(Rough("1985 "), "1985-01-01 00:00:00");
  EXPECT_EQ(Rough("1985-06"), "1985-06-01 00:00:00");
}

TEST(TakenTime, AYearHasFourDigits) {
  for (const char* text : {"03/04/09", "3/4/2019 10:11", "04.03.2019 10:11:12", "019:03:04 10:11:12",
                           "12019:03:04 10:11:12", "19:03:04 10:11:12", "985", "20190304"})
    EXPECT_EQ(TimeIn(text), std::nullopt) << text;
}

TEST(TakenTime, ADayOrMonthHasTwoDigitsAtMost) {
  for (const char* text : {"2019:03:041 10:11:12", "2019:003:04 10:11:12", "2019:03:004"})
    EXPECT_EQ(TimeIn(text), std::nullopt) << text;
}

TEST(TakenTime, OtherTextsTellNone) {
  for (const char* text :
       {"", " ", "soon", "    :  :     :  :  ", "0000:00:00 00:00:00", "2019:13:04 10:11:12", "2019:02:29",
        "2019-", "2019-00", "2019-13", "2019-06-", "1985 summer"})
    EXPECT_EQ(TimeIn(text), std::nullopt) << text;
}

TEST(TakenTime, YearsHaveBounds) {
  EXPECT_EQ(TimeIn("1900:12:31 23:59:59"), std::nullopt);
  EXPECT_EQ(Moment("1901:01:01 00:00:00"), "1901-01-01 00:00:00");
  EXPECT_EQ(Moment("9999:12:31 23:59:59"), "9999-12-31 23:59:59");
  EXPECT_EQ(TimeIn("9999:12:31 24:00:00"), std::nullopt);
  EXPECT_EQ(TimeIn("0001:01:01 00:00:00"), std::nullopt);
}

TEST(TakenTime, ALeapSecondIsTheOneBefore) {
  EXPECT_EQ(Moment("2016:12:31 23:59:60"), "2016-12-31 23:59:59");
}

TEST(TakenTime, TwentyFourOClockIsTheNextDay) {
  EXPECT_EQ(Moment("2019:03:04 24:05:06"), "2019-03-05 00:05:06");
  EXPECT_EQ(Moment("2019:12:31 24:00:00"), "2020-01-01 00:00:00");
}

TEST(TakenTime, EveryMonthHasItsName) {
  const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  int number = 0;
  for (const char* name : names) {
    const std::string month = std::to_string(++number);
    const auto time = TimeIn("2003", name, "10", "15:04:43");
    ASSERT_TRUE(time) << name;
    EXPECT_EQ(time->text, "2003-" + std::string(2 - month.size(), '0') + month + "-10 15:04:43");
  }
  EXPECT_EQ(TimeIn("2003", "MAR", "10", "15:04:43")->text, "2003-03-10 15:04:43");
  for (const char* name : {"", "Mai", "Ja", "anF", "JanF", "3"})
    EXPECT_EQ(TimeIn("2003", name, "10", "15:04:43"), std::nullopt) << name;
}

TEST(TakenTime, UniversalTimeBecomesLocal) {
  const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(LocalTimeOfUtc("2020-07-01T22:30:00Z")->text, "2020-07-02 00:30:00");
  EXPECT_EQ(LocalTimeOfUtc("2020-07-01Z")->text, "2020-07-01 00:00:00");
  EXPECT_EQ(LocalTimeOfUtc("9999-12-31T23:30:00Z"), std::nullopt);
  EXPECT_EQ(LocalTimeOfUtc("soon"), std::nullopt);
}

TEST(TakenTime, ANumberOfSecondsHasBounds) {
  const TimeZone zone("UTC");
  EXPECT_EQ(LocalTime(std::time_t{0}), "1970-01-01 00:00:00");
  EXPECT_EQ(LocalTime(std::time_t{253'402'300'799}), "9999-12-31 23:59:59");
  EXPECT_EQ(LocalTime(std::time_t{253'402'300'800}), std::nullopt);
  EXPECT_EQ(LocalTime(std::numeric_limits<std::time_t>::max()), std::nullopt);
  EXPECT_EQ(LocalTime(std::numeric_limits<std::time_t>::min()), std::nullopt);
}

TEST(TakenTime, ARecorderWithoutAClockTellsNone) {
  const TimeZone zone("UTC");
  EXPECT_EQ(RecordedLocalTime(631'151'999), std::nullopt);
  EXPECT_EQ(RecordedLocalTime(631'152'000)->text, "1990-01-01 00:00:00");
  EXPECT_EQ(RecordedLocalTime(std::numeric_limits<std::time_t>::max()), std::nullopt);
}

TEST(TakenTime, TheFirstWholeTimeCountsAndARoughOneIsKept) {
  TakenTime taken;
  EXPECT_FALSE(taken.Take(std::nullopt));
  EXPECT_FALSE(taken.Take(ReadTime{"1", TimeKind::kRough}));
  EXPECT_FALSE(taken.Take(ReadTime{"2", TimeKind::kRough}));
  EXPECT_TRUE(taken.Take(ReadTime{"3", TimeKind::kDay}));
  EXPECT_TRUE(taken.Take(ReadTime{"4", TimeKind::kMoment}));
  EXPECT_EQ(taken.rough, "1");
  EXPECT_EQ(taken.time, "3");
}

}  // namespace
