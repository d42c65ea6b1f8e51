// How a statement describes itself to a ring file, once.
//
//   Fendrel::MsgDesc description(file, &msgId, "MyModule", 12);
//   description << "doIt" << ": count " << "%s" << Fendrel::ArgWidth::four;
//   description.finish();  // msgId is the statement's number from now on
//
// Numbers are given out process-wide and kept for good: a statement that meets a second file
// describes itself there under the number it already has, so one static number serves the files of
// all threads. finish() leaves the number of a statement alone when it has one.
//
// Threading: the number may be shared by threads that describe the statement to different files at
// the same time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Fendrel/TraceFile.h"
#include "Vek/Export.h"

namespace Fendrel {

// The width of a binary value in a record. Values are unsigned; the reader prints them in decimal.
enum class ArgWidth : std::uint8_t { one = 1, two = 2, four = 4, eight = 8 };

// Marks a statement without a value.
struct QNull {};

// A text of bounded length in place, without allocation. What does not fit is cut off.
class VEK_EXPORT MsgFormatString {
 public:
  static constexpr std::size_t capacity = 512;

  void put(char const* text);
  void clear() { size_ = 0; }
  [[nodiscard]] std::string_view view() const { return {text_.data(), size_}; }

 private:
  // The text before the rest, so that an unused tail costs nothing to set up.
  std::size_t size_ = 0;
  std::array<char, capacity> text_;
};

class VEK_EXPORT MsgDesc {
 public:
  // `msgId` and `file` must stay valid until finish().
  MsgDesc(TraceFile* traceFile, int* msgId, char const* file, int line);

  // The next piece of the format; "%s" stands for one value.
  MsgDesc& operator<<(char const* text);
  // The width of the next value, in the order of the "%s".
  MsgDesc& operator<<(ArgWidth width);

  // Writes the description and gives the statement its number. When the file has no room the
  // number is given all the same, the file does not know it, and its records are dropped and
  // counted.
  void finish();

 private:
  TraceFile* traceFile_;
  int* msgId_;
  char const* file_;
  int line_;
  MsgFormatString format_;
  std::array<std::byte, Layout::kMaxArgSize> argWidths_{};
  std::size_t argCount_ = 0;
};

}  // namespace Fendrel
