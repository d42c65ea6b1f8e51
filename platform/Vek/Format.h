// Vek::format: the framework's text formatting. Each "%s" or "%u" of the text is replaced by the
// next argument in its stream output, whatever the process's locale is; "%%" stands for a percent
// sign. Argument types are checked by the language, so "%u" and "%s" differ only for the reader. A
// text that asks for more arguments than there are, or for fewer, raises Vek::Exception.
#pragma once

#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Vek/Export.h"
#include "Vek/String.h"

namespace Vek {

namespace detail {
VEK_EXPORT String formatTexts(std::string_view text, std::vector<std::string> const& arguments);

template <class Value>
std::string streamed(Value const& value) {
  std::ostringstream out;
  out.imbue(std::locale::classic());  // numbers as they are read, without anybody's separators
  out << value;
  return std::move(out).str();
}
}  // namespace detail

template <class... Values>
String format(std::string_view text, Values const&... values) {
  return detail::formatTexts(text, {detail::streamed(values)...});
}

}  // namespace Vek
