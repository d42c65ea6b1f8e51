#include "OrviaAsicUtils/Toggles.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

namespace OrviaAsicUtils {
namespace {

// Made when first used: whoever asks may be loaded before this unit is initialised.
std::string& directory() {
  static std::string directory;
  return directory;
}
ToggleReader& reader() {
  static ToggleReader reader;
  return reader;
}

// "LINE:COLUMN", both from 1, columns in bytes.
std::string placeOf(std::string_view text, std::size_t offset) {
  std::string_view const before = text.substr(0, offset);
  auto const lines = std::count(before.begin(), before.end(), '\n');
  std::size_t const lineEnd = before.rfind('\n');
  std::size_t const column = offset - (lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
  return std::to_string(lines + 1) + ":" + std::to_string(column + 1);
}

// Walks through a whole toggle file and keeps the one state that is asked for. Stops at the first
// thing that does not belong into a toggle file: `complaint` then says where and what.
class ToggleFileParser final : public nlohmann::json_sax<nlohmann::json> {
 public:
  ToggleFileParser(std::string const& text, char const* name)
      : text_(text), in_(text), name_(name) {
    nlohmann::json::sax_parse(in_, this);
  }

  [[nodiscard]] std::optional<bool> state() const { return state_; }
  [[nodiscard]] std::string const& complaint() const { return complaint_; }

  bool boolean(bool value) override {
    if (!inObject_) return unexpected();
    if (key_ == name_) state_ = value;
    return true;
  }
  bool start_object(std::size_t) override {
    if (inObject_) return unexpected();
    return inObject_ = true;
  }
  bool key(string_t& key) override {
    key_ = key;
    // Just behind the name: no further character has been read.
    keyEnd_ = static_cast<std::size_t>(in_.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
    return true;
  }
  bool end_object() override { return true; }
  bool null() override { return unexpected(); }
  bool number_integer(number_integer_t) override { return unexpected(); }
  bool number_unsigned(number_unsigned_t) override { return unexpected(); }
  bool number_float(number_float_t, string_t const&) override { return unexpected(); }
  bool string(string_t&) override { return unexpected(); }
  bool binary(binary_t&) override { return unexpected(); }
  bool start_array(std::size_t) override { return unexpected(); }
  bool end_array() override { return unexpected(); }
  bool parse_error(std::size_t charactersRead, std::string const&,
                   nlohmann::json::exception const& error) override {
    // The library's own text begins with its place, in words of its own.
    std::string_view what = error.what();
    std::size_t const column = what.find(", column ");
    std::size_t const colon = column == std::string_view::npos ? column : what.find(": ", column);
    if (colon != std::string_view::npos) what.remove_prefix(colon + 2);
    std::size_t const last = charactersRead == 0 ? 0 : charactersRead - 1;
    return complain(std::min(last, text_.size()), std::string(what));
  }

 private:
  bool unexpected() {
    // The value begins behind the name and its colon, or is the whole text.
    std::size_t const from = inObject_ ? keyEnd_ : text_.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    std::size_t const begin = text_.find_first_not_of(" \t\r\n:", from);
    return complain(begin, inObject_ ? "expected true or false for " + nlohmann::json(key_).dump()
                                     : "expected an object of names to booleans");
  }
  bool complain(std::size_t offset, std::string const& what) {
    complaint_ = ":" + placeOf(text_, offset) + ": " + what;
    state_.reset();
    return false;
  }

  std::string const& text_;
  std::istringstream in_;
  std::string_view name_;
  std::string key_;
  std::size_t keyEnd_ = 0;
  bool inObject_ = false;
  std::optional<bool> state_;
  std::string complaint_;
};

// The text of the file; nothing when it is not there. `complaint` says why one that is there cannot
// be read.
std::optional<std::string> textOf(std::string const& path, std::string& complaint) {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> const file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    if (errno != ENOENT && errno != ENOTDIR) complaint = std::string(": ") + std::strerror(errno);
    return {};
  }
  std::string text;
  char buffer[4096];
  while (std::size_t const got = std::fread(buffer, 1, sizeof(buffer), file.get())) {
    text.append(buffer, got);
  }
  if (std::ferror(file.get())) {
    complaint = std::string(": ") + std::strerror(errno);
    return {};
  }
  return text;
}

bool toggleOfFile(char const* name, char const* file, bool otherwise) {
  if (directory().empty()) return otherwise;
  std::string const path = directory() + "/" + file;
  std::string complaint;
  std::optional<bool> state;
  if (std::optional<std::string> const text = textOf(path, complaint)) {
    ToggleFileParser const parser(*text, name);
    state = parser.state();
    complaint = parser.complaint();
  }
  if (!complaint.empty()) {
    std::string const line = "toggle file " + path + complaint + "; toggle \"" + name +
                             "\" has its default, " + (otherwise ? "true" : "false") + "\n";
    std::fputs(line.c_str(), stderr);
  }
  return state.value_or(otherwise);
}

}  // namespace

bool getToggleState(char const* name, char const* file, bool otherwise) {
  ToggleReader const asked = reader();  // a copy: it may replace itself
  return asked ? asked(name, file, otherwise) : toggleOfFile(name, file, otherwise);
}

void toggleDirectoryIs(std::string const& path) { directory() = path; }
std::string toggleDirectory() { return directory(); }

ToggleReader toggleReaderIs(ToggleReader replacement) {
  return std::exchange(reader(), std::move(replacement));
}

}  // namespace OrviaAsicUtils
