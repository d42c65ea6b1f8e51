// What the trace tests share: a sink that keeps lines, ring files in memory with a clock that
// counts, a traits struct, and a folder for files.
#pragma once

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Fendrel/MsgDesc.h"
#include "Fendrel/RingBuf.h"
#include "Fendrel/RingReader.h"
#include "Fendrel/TraceFile.h"
#include "Fendrel/TraceHandle.h"
#include "Vek/TraceHandle.h"

namespace TraceTests {

// Stands in for a table's traits.
struct TestTable {
  static constexpr char const* traceHandleName() { return "OrviaL3UnicastTestTable"; }
  static constexpr char const* sourceUnit() { return "TestTableUnit"; }
};

using Lines = std::vector<std::string>;

// Collects the text trace while it lives, then puts the earlier sink back and switches everything
// off.
class TextCapture {
 public:
  TextCapture()
      : previous_(Vek::traceSinkIs([this](Vek::TraceLine const& line) {
          texts.emplace_back(line.text);
          lines.push_back(line.str());
        })) {
    Vek::traceLevelDelAll();
  }
  ~TextCapture() {
    Vek::traceLevelDelAll();
    Vek::traceSinkIs(std::move(previous_));
  }
  TextCapture(TextCapture const&) = delete;
  TextCapture& operator=(TextCapture const&) = delete;

  Lines texts;  // the message texts
  Lines lines;  // with their prefix

 private:
  Vek::TraceSink previous_;
};

// One second after the other, from 1970 on.
inline std::uint64_t countingClock() {
  static std::uint64_t seconds = 0;
  return ++seconds * 1'000'000'000U;
}

inline Fendrel::TraceFile::Config smallConfig() {
  return {.ringBytes = 1024, .descriptionBytes = 1024, .statements = 512, .now = countingClock};
}

struct RingText {
  Lines lines;
  Fendrel::RingSummary summary;
};

inline RingText readImage(std::span<std::byte const> image) {
  RingText result;
  result.summary = Fendrel::RingReader::readImage(
      image, [&result](std::string_view line) { result.lines.emplace_back(line); });
  return result;
}

inline RingText readFile(std::string const& path) {
  RingText result;
  result.summary = Fendrel::RingReader::readFile(
      path, [&result](std::string_view line) { result.lines.emplace_back(line); });
  return result;
}

// "TIME FILE:LINE TEXT" without the time and the place.
inline std::string messageOf(std::string const& line) {
  std::size_t const time = line.find(' ');
  std::size_t const place = line.find(' ', time + 1);
  return line.substr(place + 1);
}

inline Lines messagesOf(Fendrel::TraceFile const& file) {
  Lines result;
  for (std::string const& line : readImage(file.image()).lines) {
    result.push_back(messageOf(line));
  }
  return result;
}

// A statement with one 32-bit value, written with the plain operations of the ring buffer.
class NumberStatement {
 public:
  explicit NumberStatement(char const* text) : text_(text) {}

  void describe(Fendrel::TraceFile* file) {
    Fendrel::MsgDesc description(file, &msgId, "Unit", 7);
    description << text_ << "%s" << Fendrel::ArgWidth::four;
    description.finish();
  }
  void record(Fendrel::TraceFile* file, std::uint32_t value) {
    if (!file->knows(msgId)) {
      describe(file);
    }
    Fendrel::RingBuf buffer;
    buffer.startMsg(file, msgId);
    if (buffer.active()) {
      buffer.append(value);
    }
    buffer.endMsg();
  }

  int msgId = 0;

 private:
  char const* text_;
};

// The default trace handle for the time of a test.
class DefaultHandle {
 public:
  explicit DefaultHandle(std::unique_ptr<Fendrel::TraceHandle> handle)
      : handle_(std::move(handle)) {
    Fendrel::defaultTraceHandleIs(handle_.get());
  }
  explicit DefaultHandle(Fendrel::TraceFile::Config const& config = smallConfig())
      : DefaultHandle(Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory(config))) {}
  ~DefaultHandle() { Fendrel::defaultTraceHandleIs(nullptr); }
  DefaultHandle(DefaultHandle const&) = delete;
  DefaultHandle& operator=(DefaultHandle const&) = delete;

  Fendrel::TraceHandle* operator->() const { return handle_.get(); }
  [[nodiscard]] Fendrel::TraceFile& file() const { return *handle_->traceFile(); }

 private:
  std::unique_ptr<Fendrel::TraceHandle> handle_;
};

// A folder of its own, gone at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "trace-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  [[nodiscard]] std::string file(std::string const& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace TraceTests
