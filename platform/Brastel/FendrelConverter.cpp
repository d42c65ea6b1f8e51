#include "Brastel/FendrelConverter.h"

namespace Brastel {

Fendrel::MsgFormatString& FendrelConverter::sharedText() {
  thread_local Fendrel::MsgFormatString text;
  return text;
}

FendrelConverter::FendrelConverter(Fendrel::MsgFormatString& text) : text_(text) {}

FendrelConverter::~FendrelConverter() { text_.clear(); }

FendrelConverter& FendrelConverter::operator<<(unsigned int value) {
  replaceNext(std::to_string(value));
  return *this;
}

FendrelConverter& FendrelConverter::operator<<(Vek::AttributeId value) {
  return *this << value.value();
}

FendrelConverter& FendrelConverter::operator<<(Asic::BlockSize value) {
  return *this << static_cast<unsigned int>(value.value());
}

FendrelConverter& FendrelConverter::operator<<(Fendrel::QNull) {
  done_.append(text_.view().substr(read_));
  read_ = text_.view().size();
  return *this;
}

std::string FendrelConverter::str() const {
  std::string whole = done_;
  whole.append(text_.view().substr(read_));
  return whole;
}

void FendrelConverter::replaceNext(std::string_view valueText) {
  std::string_view const rest = text_.view().substr(read_);
  std::size_t const place = rest.find("%s");
  if (place == std::string_view::npos) {
    return;
  }
  done_.append(rest.substr(0, place)).append(valueText);
  read_ += place + 2;
}

}  // namespace Brastel
