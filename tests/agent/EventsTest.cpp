// Events from outside of a stream: how they are told, and when they are due.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "agent/Events.h"

namespace OrviaL3Agent {
namespace {

std::string complaintAbout(std::string const& text) {
  try {
    (void)eventOf(text);
  } catch (std::invalid_argument const& e) {
    return e.what();
  }
  return "none";
}

std::vector<std::string> texts(std::vector<Event> const& events) {
  std::vector<std::string> out;
  for (Event const& event : events) out.push_back(text(event));
  return out;
}

using Texts = std::vector<std::string>;

TEST(Event, ReadsInterfacesThatFailAndComeBack) {
  EXPECT_EQ(eventOf("at 40 interface 3 down"), (Event{40, InterfaceEvent{3, false}}));
  EXPECT_EQ(eventOf("at 0 interface 4294967295 up"), (Event{0, InterfaceEvent{4294967295U, true}}));
  EXPECT_EQ(eventOf("at end interface 3 up"), (Event{std::nullopt, InterfaceEvent{3, true}}));
}

TEST(Event, ReadsRetriesAndTheEndOfFaults) {
  EXPECT_EQ(eventOf("at 18446744073709551615 retry"), (Event{18446744073709551615ULL, Retry{}}));
  EXPECT_EQ(eventOf("at end retry"), (Event{std::nullopt, Retry{}}));
  EXPECT_EQ(eventOf("at 7 faults off"), (Event{7, FaultsOff{}}));
  EXPECT_EQ(eventOf("at end faults off"), (Event{std::nullopt, FaultsOff{}}));
}

TEST(Event, DoesNotCareHowManyBlanksAreBetweenWords) {
  EXPECT_EQ(eventOf("  at\t40   interface 3\tdown "), eventOf("at 40 interface 3 down"));
}

TEST(Event, IsWrittenAsItIsRead) {
  for (std::string const text :
       {"at 40 interface 3 down", "at 0 interface 12 up", "at 5 retry", "at 6 faults off",
        "at end interface 3 up", "at end retry", "at end faults off"}) {
    EXPECT_EQ(OrviaL3Agent::text(eventOf(text)), text);
  }
}

TEST(Event, SaysWhatWasExpectedWhere) {
  EXPECT_EQ(complaintAbout(""), "\"\": expected \"at\" at character 1, found the end");
  EXPECT_EQ(complaintAbout("40 retry"),
            "\"40 retry\": expected \"at\" at character 1, found \"40\"");
  EXPECT_EQ(complaintAbout("at"),
            "\"at\": expected a number of messages or \"end\" at character 3, found the end");
  EXPECT_EQ(complaintAbout("at first retry"),
            "\"at first retry\": expected a number of messages or \"end\" at character 4, found "
            "\"first\"");
  EXPECT_EQ(complaintAbout("at 40 interfce 3 down"),
            "\"at 40 interfce 3 down\": expected \"interface\", \"retry\" or \"faults\" at "
            "character 7, found \"interfce\"");
  EXPECT_EQ(complaintAbout("at end"),
            "\"at end\": expected \"interface\", \"retry\" or \"faults\" at character 7, found the "
            "end");
  EXPECT_EQ(complaintAbout("at 40 interface eth0 down"),
            "\"at 40 interface eth0 down\": expected the number of an interface at character 17, "
            "found \"eth0\"");
  EXPECT_EQ(complaintAbout("at 40 interface 3"),
            "\"at 40 interface 3\": expected \"down\" or \"up\" at character 18, found the end");
  EXPECT_EQ(complaintAbout("at 40 interface 3 Down"),
            "\"at 40 interface 3 Down\": expected \"down\" or \"up\" at character 19, found "
            "\"Down\"");
  EXPECT_EQ(complaintAbout("at 40 faults on"),
            "\"at 40 faults on\": expected \"off\" at character 14, found \"on\"");
  EXPECT_EQ(complaintAbout("at 40 retry now"),
            "\"at 40 retry now\": expected the end at character 13, found \"now\"");
}

TEST(Event, TakesNoNumberThatIsNone) {
  for (std::string const number : {"-1", "+1", "1x", "0x10", "1.5", "18446744073709551616"}) {
    EXPECT_NE(complaintAbout("at " + number + " retry").find("expected a number of messages"),
              std::string::npos)
        << number;
  }
  EXPECT_NE(complaintAbout("at 1 interface 4294967296 up").find("expected the number of an"),
            std::string::npos);
}

TEST(EventSchedule, HandsOutInOrderOfMessageThenAsGiven) {
  EventSchedule schedule({eventOf("at 5 retry"), eventOf("at 3 interface 1 down"),
                          eventOf("at 5 interface 1 up"), eventOf("at 0 faults off"),
                          eventOf("at 3 interface 2 down")});
  EXPECT_EQ(schedule.next(), 0U);
  EXPECT_EQ(texts(schedule.due(0)), Texts{"at 0 faults off"});
  EXPECT_EQ(schedule.next(), 3U);
  EXPECT_EQ(texts(schedule.due(2)), Texts{});
  EXPECT_EQ(texts(schedule.due(5)), (Texts{"at 3 interface 1 down", "at 3 interface 2 down",
                                           "at 5 retry", "at 5 interface 1 up"}));
  EXPECT_EQ(schedule.next(), std::nullopt);
}

TEST(EventSchedule, HandsOutEachEventOnce) {
  EventSchedule schedule({eventOf("at 5 retry"), eventOf("at 5 retry")});
  EXPECT_EQ(schedule.due(5).size(), 2U);
  EXPECT_TRUE(schedule.due(5).empty());
  EXPECT_TRUE(schedule.due(100).empty());
}

TEST(EventSchedule, HandsOutTheEventsOfTheEndOneByOne) {
  EventSchedule schedule(
      {eventOf("at end interface 3 up"), eventOf("at 1 retry"), eventOf("at end faults off")});
  EXPECT_EQ(texts(schedule.due(~0ULL)), Texts{"at 1 retry"});
  EXPECT_EQ(schedule.atEnd(), eventOf("at end interface 3 up"));
  EXPECT_EQ(schedule.atEnd(), eventOf("at end faults off"));
  EXPECT_EQ(schedule.atEnd(), std::nullopt);
  EXPECT_EQ(schedule.atEnd(), std::nullopt);
}

TEST(EventSchedule, NamesTheEventsThatTheStreamWasTooShortFor) {
  EventSchedule schedule({eventOf("at 90 retry"), eventOf("at 10 retry"), eventOf("at end retry"),
                          eventOf("at 11 faults off")});
  EXPECT_EQ(schedule.unreached().size(), 3U);
  (void)schedule.due(10);
  EXPECT_EQ(texts(schedule.unreached()), (Texts{"at 11 faults off", "at 90 retry"}));
  (void)schedule.due(90);
  EXPECT_TRUE(schedule.unreached().empty());
}

TEST(EventSchedule, MayBeEmpty) {
  EventSchedule schedule;
  EXPECT_EQ(schedule.next(), std::nullopt);
  EXPECT_TRUE(schedule.due(10).empty());
  EXPECT_EQ(schedule.atEnd(), std::nullopt);
  EXPECT_TRUE(schedule.unreached().empty());
}

}  // namespace
}  // namespace OrviaL3Agent
