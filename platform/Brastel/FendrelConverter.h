// Turns a statement's format and values into text: the text side's answer to the binary ring
// record.
//
//   Fendrel::MsgFormatString& text = Brastel::FendrelConverter::sharedText();
//   text.put("doIt"); text.put(": size "); text.put("%s");
//   Brastel::FendrelConverter converter(text);
//   converter << Asic::BlockSize(4);
//   use(converter.str());
//
// Each value takes the place of the next "%s". A value's own text is never searched for "%s". A
// value for which there is no "%s" left is ignored.
//
// Threading: the shared text is one per thread. Ownership: a converter is made per statement and
// refers to the text, which it empties at its end for the next statement.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Asic/BlockSize.h"
#include "Fendrel/MsgDesc.h"
#include "Vek/AttributeId.h"
#include "Vek/Export.h"

namespace Brastel {

class VEK_EXPORT FendrelConverter {
 public:
  // The fixed text over which the statements of the calling thread build their converters; empty.
  static Fendrel::MsgFormatString& sharedText();

  explicit FendrelConverter(Fendrel::MsgFormatString& text);
  ~FendrelConverter();
  FendrelConverter(FendrelConverter const&) = delete;
  FendrelConverter& operator=(FendrelConverter const&) = delete;

  FendrelConverter& operator<<(unsigned int value);
  FendrelConverter& operator<<(Vek::AttributeId value);
  FendrelConverter& operator<<(Asic::BlockSize value);
  // Closes a statement that has no value.
  FendrelConverter& operator<<(Fendrel::QNull value);

  // The finished text. A "%s" that got no value stands as it is.
  [[nodiscard]] std::string str() const;

 private:
  void replaceNext(std::string_view valueText);

  Fendrel::MsgFormatString& text_;
  std::size_t read_ = 0;  // how much of the text is in done_
  std::string done_;
};

}  // namespace Brastel
