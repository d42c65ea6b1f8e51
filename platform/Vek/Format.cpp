#include "Vek/Format.h"

#include "Vek/Exception.h"

namespace Vek::detail {

String formatTexts(std::string_view text, std::vector<std::string> const& arguments) {
  std::string result;
  std::size_t used = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char const next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (text[i] != '%' || (next != 's' && next != 'u' && next != '%')) {
      result += text[i];
      continue;
    }
    ++i;
    if (next == '%') {
      result += '%';
    } else if (used < arguments.size()) {
      result += arguments[used++];
    } else {
      throw Exception("format text asks for more arguments than given: " + std::string(text));
    }
  }
  if (used != arguments.size()) {
    throw Exception("format text asks for fewer arguments than given: " + std::string(text));
  }
  return result;
}

}  // namespace Vek::detail
