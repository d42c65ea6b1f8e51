// Cutting a byte stream into frames, however the bytes arrive.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <system_error>

#include "agent/fpm/FrameFile.h"
#include "agent/fpm/FrameReader.h"
#include "tests/agent/ParsedStream.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

Bytes smallStream() {
  return announce(1, 2, "10.0.1.2") + announce(2, 3, "fe80::1") +
         announceGroup(3, {{1, 0}, {2, 9}}) +
         frame(message(RTM_DELROUTE,
                       routeHeader(AF_INET, 24, 0) + attribute(RTA_DST, address("10.1.0.0"))) +
               message(RTM_NEWROUTE, routeHeader(AF_INET, 24) +
                                         attribute(RTA_DST, address("10.1.0.0")) +
                                         u32Attribute(RTA_NH_ID, 3))) +
         frame("") + withdraw(2);
}

TEST(FrameReader, HandsOutFramesWithTheirOffsets) {
  Bytes const stream = frame("abcd") + frame("efghij", 2) + frame("");
  Fpm::FrameReader reader;
  reader.feed(spanOf(stream));

  auto first = reader.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->offset, 0U);
  EXPECT_EQ(first->payloadOffset(), 4U);
  EXPECT_EQ(first->type, 1);
  EXPECT_EQ(std::memcmp(first->payload.data(), "abcd", 4), 0);
  EXPECT_EQ(first->payload.size(), 4U);

  auto second = reader.next();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->offset, 8U);
  EXPECT_EQ(second->type, 2);
  ASSERT_EQ(second->payload.size(), 6U);
  EXPECT_EQ(std::memcmp(second->payload.data(), "efghij", 6), 0);

  auto third = reader.next();
  ASSERT_TRUE(third);
  EXPECT_EQ(third->offset, 18U);
  EXPECT_EQ(third->payload.size(), 0U);

  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.offset(), stream.size());
  EXPECT_NO_THROW(reader.finish());
}

TEST(FrameReader, AlignsEveryPayloadAndPadsItWithZeroes) {
  // Lengths that put the frames at odd places of the stream.
  Bytes const stream = frame("a") + frame("bcd") + frame("efghijk");
  Fpm::FrameReader reader;
  reader.feed(spanOf(stream));
  int frames = 0;
  while (auto const frame = reader.next()) {
    ++frames;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(frame->payload.data()) % alignof(nlmsghdr), 0U);
    for (std::size_t i = 0; i < Fpm::kPayloadPadding; ++i) {
      EXPECT_EQ(*(frame->payload.data() + frame->payload.size() + i), std::byte{0});
    }
  }
  EXPECT_EQ(frames, 3);
}

TEST(FrameReader, GivesTheSameResultForBytesThatArriveOneByOne) {
  Bytes const stream = smallStream();
  ParsedStream const whole = parse(stream);
  ASSERT_FALSE(whole.error);
  ASSERT_EQ(whole.frames, 6U);
  ASSERT_EQ(whole.messages.size(), 6U);

  std::vector<std::string_view> pieces;
  for (std::size_t i = 0; i < stream.size(); ++i) pieces.emplace_back(&stream[i], 1);
  EXPECT_EQ(parse(pieces), whole);
}

TEST(FrameReader, GivesTheSameResultForRandomSplits) {
  Bytes const stream = contentOf(streamPath("flap-static.0.fpm"));
  ParsedStream const whole = parse(stream);
  ASSERT_FALSE(whole.error);
  std::mt19937 random(20261120);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string_view> pieces;
    for (std::string_view rest = stream; !rest.empty();) {
      std::size_t const size = std::min<std::size_t>(rest.size(), random() % 300);
      pieces.push_back(rest.substr(0, size));
      rest.remove_prefix(size);
    }
    ASSERT_EQ(parse(pieces), whole) << "round " << round;
  }
}

TEST(FrameReader, NamesTheCutOffFrameForEveryPrefixOfAStream) {
  Bytes const stream = smallStream();
  ParsedStream const whole = parse(stream);
  std::vector<std::size_t> ends{0};  // where a frame ends, the stream may end
  {
    Fpm::FrameReader reader;
    reader.feed(spanOf(stream));
    while (reader.next()) ends.push_back(reader.offset());
  }
  ASSERT_EQ(ends.back(), stream.size());

  for (std::size_t length = 0; length <= stream.size(); ++length) {
    ParsedStream const parsed = parse(stream.substr(0, length));
    auto const after = std::upper_bound(ends.begin(), ends.end(), length);
    std::size_t const lastEnd = *(after - 1);
    EXPECT_EQ(parsed.frames, static_cast<std::size_t>(after - ends.begin()) - 1) << length;
    ASSERT_LE(parsed.messages.size(), whole.messages.size());
    EXPECT_TRUE(std::equal(parsed.messages.begin(), parsed.messages.end(), whole.messages.begin()))
        << length;
    if (length == lastEnd) {
      EXPECT_FALSE(parsed.error) << length;
    } else {
      ASSERT_TRUE(parsed.error) << length;
      EXPECT_EQ(parsed.error->offset, lastEnd);
      std::size_t const left = length - lastEnd;
      std::string const what =
          "offset " + std::to_string(lastEnd) + ": truncated frame" +
          (left < 4 ? " header: " + std::to_string(left) + " of 4"
                    : ": " + std::to_string(left) + " of " + std::to_string(*after - lastEnd)) +
          " bytes before the stream ends";
      EXPECT_EQ(parsed.error->text, what);
    }
  }
}

TEST(FrameReader, RefusesAnotherVersion) {
  ParsedStream const parsed = parse(withdraw(1) + frame("", 1, 2));
  ASSERT_TRUE(parsed.error);
  EXPECT_EQ(parsed.frames, 1U);
  EXPECT_EQ(parsed.error->text, "offset 36: not a frame header: version 2, expected 1");
  EXPECT_EQ(parsed.error->offset, 36U);
}

TEST(FrameReader, RefusesALengthSmallerThanItsHeader) {
  for (int length = 0; length < 4; ++length) {
    ParsedStream const parsed = parse(frame("abcd", 1, 1, length));
    ASSERT_TRUE(parsed.error) << length;
    EXPECT_EQ(parsed.error->text, "offset 0: frame length " + std::to_string(length) +
                                      " is smaller than the frame header of 4 bytes");
  }
}

TEST(FrameReader, TakesALengthBeyondTheStreamForACutOffFrame) {
  ParsedStream const parsed = parse(withdraw(1) + frame("abcd", 1, 1, 65535));
  ASSERT_TRUE(parsed.error);
  EXPECT_EQ(parsed.error->text,
            "offset 36: truncated frame: 8 of 65535 bytes before the stream ends");
}

TEST(FrameReader, ThrowsTheSameErrorAgainAndStaysWhereItIs) {
  Fpm::FrameReader reader;
  reader.feed(spanOf(frame("", 1, 7)));
  EXPECT_THROW((void)reader.next(), Fpm::StreamError);
  EXPECT_THROW((void)reader.next(), Fpm::StreamError);
  EXPECT_EQ(reader.offset(), 0U);
}

TEST(FrameReader, TakesTheLargestFrameThatItsLengthCanSay) {
  Bytes const payload(65531, 'x');
  Fpm::FrameReader reader;
  reader.feed(spanOf(frame(payload, 9)));
  auto const frame = reader.next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->payload.size(), 65531U);
  EXPECT_EQ(reader.pending(), 0U);
}

TEST(FrameFile, ReadsAFileAsTheReaderReadsItsBytes) {
  std::string const path = streamPath("wide-static.0.fpm");  // several pieces long
  Bytes const bytes = contentOf(path);
  Fpm::FrameReader reader;
  reader.feed(spanOf(bytes));
  Fpm::FrameFile file(path);
  EXPECT_EQ(file.size(), bytes.size());
  std::uint64_t frames = 0;
  while (auto const expected = reader.next()) {
    auto const found = file.next();
    ASSERT_TRUE(found);
    ++frames;
    EXPECT_EQ(found->offset, expected->offset);
    EXPECT_EQ(found->type, expected->type);
    EXPECT_TRUE(std::equal(found->payload.begin(), found->payload.end(), expected->payload.begin(),
                           expected->payload.end()));
  }
  EXPECT_FALSE(file.next());
  EXPECT_EQ(frames, 3656U);
  EXPECT_EQ(file.offset(), file.size());
}

TEST(FrameFile, RefusesWhatIsNoFile) {
  EXPECT_THROW(Fpm::FrameFile(streamPath("no-such-stream.fpm")), std::system_error);
  EXPECT_THROW(Fpm::FrameFile(streamPath("")), std::system_error);
}

}  // namespace
}  // namespace OrviaL3Agent
