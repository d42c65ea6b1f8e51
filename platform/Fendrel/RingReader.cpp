#include "Fendrel/RingReader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Fendrel/Layout.h"
#include "Fendrel/RingSource.h"

namespace Fendrel {
namespace {

using Layout::Description;
using Layout::Header;
using Layout::Record;
using Layout::State;

// What stands in a description, decoded.
struct Statement {
  std::vector<std::uint8_t> argWidths;
  std::size_t argSize = 0;
  std::string place;   // "FILE:LINE"
  std::string format;  // with a "%s" per value
};

// Bytes of the file may be anything; a terminal must not be driven by them.
std::string printable(std::string_view text) {
  std::string result;
  for (char const character : text) {
    auto const code = static_cast<unsigned char>(character);
    if (code < 0x20 || code == 0x7F) {
      std::array<char, 8> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\x%02X", code);
      result += escaped.data();
    } else {
      result += character;
    }
  }
  return result;
}

std::string timeText(std::uint64_t nanoseconds) {
  auto const seconds = static_cast<std::time_t>(nanoseconds / 1'000'000'000U);
  tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> day{};
  std::size_t const length = std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  std::array<char, 16> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%09uZ",
                static_cast<unsigned>(nanoseconds % 1'000'000'000U));
  return std::string(day.data(), length) + fraction.data();
}

std::uint64_t argument(std::span<std::byte const> bytes) {
  // The file has this machine's byte order, or it would have been refused.
  switch (bytes.size()) {
    case 1: {
      return std::to_integer<std::uint64_t>(bytes[0]);
    }
    case 2: {
      std::uint16_t value = 0;
      std::memcpy(&value, bytes.data(), sizeof value);
      return value;
    }
    case 4: {
      std::uint32_t value = 0;
      std::memcpy(&value, bytes.data(), sizeof value);
      return value;
    }
    default: {
      std::uint64_t value = 0;
      std::memcpy(&value, bytes.data(), sizeof value);
      return value;
    }
  }
}

class Decoder {
 public:
  Decoder(RingSource const& source, RingReader::LineSink const& sink)
      : source_(source), sink_(sink) {}

  RingSummary run() {
    if (!readHeader() || !takeSnapshot()) {
      return std::move(summary_);
    }
    walk();
    if (source_.size() < header_.fileSize) {
      // Said instead of what follows from it: the first missing record, say.
      summary_.error = "is cut off: " + std::to_string(source_.size()) + " of " +
                       std::to_string(header_.fileSize) + " bytes";
    }
    if (summary_.damagedBytes != 0) {
      summary_.error += "; " + std::to_string(summary_.damagedBytes) + " bytes of records left out";
    }
    return std::move(summary_);
  }

 private:
  bool fail(std::string error) {
    summary_.error = std::move(error);
    return false;
  }

  bool readHeader() {
    std::optional<Header> const header = source_.value<Header>(0);
    std::optional<std::uint64_t> const magic = source_.value<std::uint64_t>(0);
    if (!magic || (*magic != Layout::kMagic && *magic != __builtin_bswap64(Layout::kMagic))) {
      return fail("is not a ring file");
    }
    if (!header) {
      return fail("is cut off in its header");
    }
    header_ = *header;
    if (header_.magic != Layout::kMagic || header_.byteOrder != Layout::kByteOrder) {
      return fail("was written on a machine with another byte order");
    }
    if (header_.version != Layout::kVersion) {
      return fail("has version " + std::to_string(header_.version) + ", expected " +
                  std::to_string(Layout::kVersion));
    }
    auto const checked = std::as_bytes(std::span(&header_, 1)).first(offsetof(Header, check));
    if (header_.check != Layout::hash(0, checked) || !isPlausible()) {
      return fail("has a damaged header");
    }
    return true;
  }

  // Who can compute a hash can also lie, so the sizes are not taken on trust.
  [[nodiscard]] bool isPlausible() const {
    return header_.idTableOffset == Layout::kHeaderSize &&
           header_.idTableSize <= Layout::kMaxIdTableSize &&
           header_.descriptionOffset ==
               header_.idTableOffset +
                   Layout::aligned(header_.idTableSize * sizeof(std::uint32_t)) &&
           header_.descriptionSize <= Layout::kMaxDescriptionSize &&
           header_.descriptionSize % Layout::kAlignment == 0 &&
           header_.ringOffset == header_.descriptionOffset + header_.descriptionSize &&
           header_.ringSize >= Layout::kMinRingSize && header_.ringSize <= Layout::kMaxRingSize &&
           header_.ringSize % Layout::kAlignment == 0 &&
           header_.fileSize == header_.ringOffset + header_.ringSize;
  }

  [[nodiscard]] std::optional<State> readState() const {
    return source_.value<State>(Layout::kStateOffset);
  }

  [[nodiscard]] bool isPlausible(State const& state) const {
    return state.begin <= state.end && state.end - state.begin <= header_.ringSize &&
           state.begin % Layout::kAlignment == 0 && state.end % Layout::kAlignment == 0;
  }

  bool takeSnapshot() {
    // A fast writer with a small ring may overwrite all of it during the copy; it will not every
    // time.
    for (int attempt = 0; attempt < 16; ++attempt) {
      std::optional<State> const before = readState();
      ring_ = source_.readUpTo(header_.ringOffset, header_.ringSize);
      std::optional<State> const after = readState();
      if (!before || !after) {
        return fail("is cut off in its header");
      }
      // A writer moves its positions one by one, so a snapshot between two moves is plausible as
      // well.
      if (!isPlausible(*before) || !isPlausible(*after) || after->begin < before->begin) {
        continue;
      }
      begin_ = after->begin;
      end_ = std::max(before->end, begin_);
      summary_.dropped = after->dropped;
      if (begin_ < end_ || before->begin == before->end) {
        return readDescriptions();
      }
    }
    if (std::optional<State> const state = readState(); state && !isPlausible(*state)) {
      return fail("has damaged positions of its oldest and newest record");
    }
    return fail("is overwritten faster than it can be read");
  }

  // After the ring: whatever a record of the snapshot needs has been described before it was
  // written.
  bool readDescriptions() {
    std::vector<std::byte> const bytes = source_.readUpTo(
        header_.idTableOffset, Layout::aligned(header_.idTableSize * sizeof(std::uint32_t)));
    idTable_.resize(bytes.size() / sizeof(std::uint32_t));
    if (!idTable_.empty()) {
      std::memcpy(idTable_.data(), bytes.data(), idTable_.size() * sizeof(std::uint32_t));
    }
    descriptions_ = source_.readUpTo(header_.descriptionOffset, header_.descriptionSize);
    return true;
  }

  // The description of an id, decoded once; nothing when it is missing or damaged.
  Statement const* statement(std::uint32_t id) {
    auto const [entry, isNew] = statements_.try_emplace(id);
    if (isNew) {
      entry->second = decodeStatement(id);
    }
    return entry->second ? &*entry->second : nullptr;
  }

  [[nodiscard]] std::optional<Statement> decodeStatement(std::uint32_t id) const {
    if (id >= idTable_.size() || idTable_[id] == 0) {
      return std::nullopt;
    }
    std::size_t const offset = idTable_[id] - 1;
    Description description;
    if (offset % Layout::kAlignment != 0 || offset > descriptions_.size() ||
        descriptions_.size() - offset < sizeof description) {
      return std::nullopt;
    }
    std::memcpy(&description, descriptions_.data() + offset, sizeof description);
    if (description.id != id || description.size % Layout::kAlignment != 0 ||
        description.size > descriptions_.size() - offset ||
        sizeof description + description.argCount + description.fileSize + description.formatSize >
            description.size) {
      return std::nullopt;
    }
    std::vector<std::byte> whole(descriptions_.data() + offset,
                                 descriptions_.data() + offset + description.size);
    std::uint32_t const check = std::exchange(description.check, 0);
    std::memcpy(whole.data(), &description, sizeof description);
    if (Layout::hash32(id, whole) != check) {
      return std::nullopt;
    }

    Statement result;
    std::byte const* at = whole.data() + sizeof description;
    for (std::size_t arg = 0; arg < description.argCount; ++arg) {
      auto const width = std::to_integer<std::uint8_t>(*at++);
      if (width != 1 && width != 2 && width != 4 && width != 8) {
        return std::nullopt;
      }
      result.argWidths.push_back(width);
      result.argSize += width;
    }
    auto const text = [&at](std::size_t size) {
      std::string_view const view(reinterpret_cast<char const*>(at), size);
      at += size;
      return printable(view);
    };
    result.place = text(description.fileSize) + ":" + std::to_string(description.line);
    result.format = text(description.formatSize);
    return result;
  }

  void walk() {
    std::uint64_t position = begin_;
    while (position < end_) {
      std::size_t const offset = position % header_.ringSize;
      std::size_t const size = recordAt(position, offset);
      if (size != 0) {
        position += size;
        continue;
      }
      noteDamage(offset, "has a damaged record");
      // A record's hash tells where the next whole one starts.
      summary_.damagedBytes += Layout::kAlignment;
      position += Layout::kAlignment;
    }
  }

  // The first damage is the one to report; the rest is counted.
  void noteDamage(std::size_t offset, std::string const& what) {
    if (summary_.error.empty()) {
      summary_.error = what + " at offset " + std::to_string(header_.ringOffset + offset);
    }
  }

  // Prints the record and gives its size; 0 when there is none.
  std::size_t recordAt(std::uint64_t position, std::size_t offset) {
    std::size_t const toRingEnd = header_.ringSize - offset;
    if (offset + Layout::kAlignment > ring_.size()) {
      return 0;
    }
    Layout::Filler first;
    std::memcpy(&first, ring_.data() + offset, sizeof first);
    if (first.id == 0) {
      // Only so much is ever left free at the end.
      bool const isFiller = first.argSize == 0 && first.size == toRingEnd &&
                            first.size < Layout::kMaxRecordSize && first.size <= end_ - position;
      return isFiller ? first.size : 0;
    }
    std::size_t const size = first.size;
    if (size < sizeof(Record) || size > Layout::kMaxRecordSize || size % Layout::kAlignment != 0 ||
        size > end_ - position || offset + size > ring_.size()) {
      return 0;
    }
    std::array<std::byte, Layout::kMaxRecordSize> bytes;
    std::memcpy(bytes.data(), ring_.data() + offset, size);
    Record record;
    std::memcpy(&record, bytes.data(), sizeof record);
    std::uint32_t const check = record.check;
    std::memset(bytes.data() + offsetof(Record, check), 0, sizeof check);
    if (Layout::hash32(position, {bytes.data(), size}) != check) {
      return 0;
    }
    Statement const* const found = statement(record.id);
    if (found == nullptr || found->argSize != record.argSize ||
        Layout::kRecordHeaderSize + record.argSize > size) {
      noteDamage(offset, "has no valid description of statement " + std::to_string(record.id) +
                             ", recorded");
      summary_.damagedBytes += size;
      return size;
    }
    print(record, *found, std::span(bytes).subspan(Layout::kRecordHeaderSize, record.argSize));
    return size;
  }

  void print(Record const& record, Statement const& statement, std::span<std::byte const> args) {
    std::string line = timeText(record.time) + " " + statement.place + " ";
    std::string_view rest = statement.format;
    for (std::uint8_t const width : statement.argWidths) {
      std::size_t const place = std::min(rest.find("%s"), rest.size());
      line.append(rest.substr(0, place)).append(std::to_string(argument(args.first(width))));
      rest.remove_prefix(std::min(place + 2, rest.size()));
      args = args.subspan(width);
    }
    line.append(rest);
    ++summary_.lines;
    sink_(line);
  }

  RingSource const& source_;
  RingReader::LineSink const& sink_;
  RingSummary summary_;
  Header header_;
  std::uint64_t begin_ = 0;
  std::uint64_t end_ = 0;
  std::vector<std::byte> ring_;  // shorter than the ring when the file is cut off
  std::vector<std::uint32_t> idTable_;
  std::vector<std::byte> descriptions_;
  std::unordered_map<std::uint32_t, std::optional<Statement>> statements_;
};

}  // namespace

RingSummary RingReader::readFile(std::string const& path, LineSink const& sink) {
  FileSource const source(path);
  RingSummary summary;
  if (!source.error().empty()) {
    summary.error = source.error();
  } else {
    summary = Decoder(source, sink).run();
  }
  if (!summary.error.empty()) {
    summary.error.insert(0, path + ": ");
  }
  return summary;
}

RingSummary RingReader::readImage(std::span<std::byte const> image, LineSink const& sink) {
  return Decoder(ImageSource(image), sink).run();
}

}  // namespace Fendrel
