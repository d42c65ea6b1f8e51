#include "Plugin/Registrar.h"

#include <utility>

namespace Plugin {

Registrar::Registrar(std::string loader, std::string path, std::string file)
    : loader_(std::move(loader)), path_(std::move(path)), file_(std::move(file)) {}
Registrar::~Registrar() = default;

void Registrar::utilFactoryIs(std::string_view table, OrviaAsicUtils::UtilCreate create) {
  utilFactories_.push_back({std::string(table), create, file_});
}

}  // namespace Plugin
