#include "agent/Catalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "Vek/Reflect.h"

namespace OrviaL3Agent {
namespace {

using Vek::VekType;

// "Asic::SwTable", or "" for none.
std::string nameOf(VekType type) { return type.module == nullptr ? std::string() : type.name(); }

bool isValue(VekType type) { return type.valueOps() != nullptr; }

Vek::VekReflection const* reflectionOf(VekType type) { return type.info()->reflection; }

std::string kindOf(VekType type) {
  if (!isValue(type)) return "class";
  return type.valueOps()->parses() ? "value" : "value without text constructor";
}

// A type's own attributes by their numbers: the order of a type's table is that of its parts, and a
// reader looks for a number.
std::vector<Vek::VekAttribute const*> attributesById(Vek::VekReflection const& reflection) {
  std::vector<Vek::VekAttribute const*> attributes;
  for (Vek::VekAttribute const& attribute : reflection.attributes) attributes.push_back(&attribute);
  std::stable_sort(attributes.begin(), attributes.end(),
                   [](Vek::VekAttribute const* a, Vek::VekAttribute const* b) {
                     return a->id.value() < b->id.value();
                   });
  return attributes;
}

// "read, set", "count, element, set element, delete element".
std::string accessOf(Vek::VekAttribute const& attribute) {
  std::string text;
  auto const add = [&text](bool has, char const* what) {
    if (has) text += (text.empty() ? "" : ", ") + std::string(what);
  };
  add(attribute.read != nullptr, "read");
  add(attribute.write != nullptr, "set");
  add(attribute.count != nullptr, "count");
  add(attribute.keys != nullptr, "go over");
  add(attribute.elementRead != nullptr, "read element");
  add(attribute.elementWrite != nullptr, "set element");
  if (attribute.madeFrom.module != nullptr) text += " from " + nameOf(attribute.madeFrom);
  add(attribute.elementDelete != nullptr, "delete element");
  return text;
}

std::string typeOf(Vek::VekAttribute const& attribute) {
  if (!attribute.isCollection()) return nameOf(attribute.type);
  return fmt::format("{} by {}", nameOf(attribute.type), nameOf(attribute.keyType));
}

// "entryCommit(key: ..., entry: ...) -> ...".
std::string signatureOf(Vek::VekOperation const& operation) {
  std::string text = operation.name + std::string("(");
  char const* separator = "";
  for (Vek::VekArgument const& argument : operation.arguments()) {
    text += fmt::format("{}{}: {}", separator, argument.name, nameOf(argument.type));
    separator = ", ";
  }
  text += ")";
  if (operation.result.module != nullptr) text += " -> " + nameOf(operation.result);
  return text;
}

std::string remarkOf(Vek::VekOperation const& operation) {
  if (operation.endsObject) return "ends its object";
  return operation.call != nullptr ? "can be called" : "described";
}

template <class Visit>
void forEachType(Visit const& visit) {
  for (VekType const type : Vek::vekTypes()) visit(type);
}

nlohmann::ordered_json jsonOf(Vek::VekAttribute const& attribute) {
  nlohmann::ordered_json json{{"id", attribute.id.value()},
                              {"name", attribute.name},
                              {"type", nameOf(attribute.type)},
                              {"collection", attribute.isCollection()}};
  if (attribute.isCollection()) json["keyType"] = nameOf(attribute.keyType);
  json["readable"] = attribute.isReadable();
  json["writable"] = attribute.isWritable();
  // Only where it is not the type that is read.
  if (attribute.madeFrom.module != nullptr) json["madeFrom"] = nameOf(attribute.madeFrom);
  json["iterable"] = attribute.isIterable();
  json["deletable"] = attribute.isDeletable();
  return json;
}

nlohmann::ordered_json jsonOf(Vek::VekOperation const& operation) {
  nlohmann::ordered_json json{{"name", operation.name},
                              {"arguments", nlohmann::ordered_json::array()}};
  for (Vek::VekArgument const& argument : operation.arguments()) {
    json["arguments"].push_back({{"name", argument.name}, {"type", nameOf(argument.type)}});
  }
  json["result"] = nameOf(operation.result);
  json["callable"] = operation.call != nullptr;
  json["endsObject"] = operation.endsObject;
  return json;
}

}  // namespace

std::string catalogueText() {
  std::string text;
  forEachType([&text](VekType type) {
    std::string const base = nameOf(type.info()->base);
    text += fmt::format("{} ({} {}, {}{})\n", nameOf(type), type.module->name, type.number,
                        kindOf(type), base.empty() ? "" : ", is a " + base);
    if (reflectionOf(type) == nullptr) return;
    for (Vek::VekAttribute const* const attribute : attributesById(*reflectionOf(type))) {
      text += fmt::format("  {:>3} {}: {} [{}]\n", attribute->id.value(), attribute->name,
                          typeOf(*attribute), accessOf(*attribute));
    }
    for (Vek::VekOperation const& operation : reflectionOf(type)->operations) {
      text += fmt::format("      {} [{}]\n", signatureOf(operation), remarkOf(operation));
    }
  });
  return text;
}

std::string catalogueJson() {
  nlohmann::ordered_json types = nlohmann::ordered_json::array();
  forEachType([&types](VekType type) {
    nlohmann::ordered_json json{{"name", nameOf(type)},
                                {"module", type.module->name},
                                {"number", type.number},
                                {"base", nameOf(type.info()->base)},
                                {"value", isValue(type)}};
    if (isValue(type)) json["parses"] = type.valueOps()->parses();
    json["attributes"] = nlohmann::ordered_json::array();
    json["operations"] = nlohmann::ordered_json::array();
    if (Vek::VekReflection const* const reflection = reflectionOf(type)) {
      for (Vek::VekAttribute const* const attribute : attributesById(*reflection))
        json["attributes"].push_back(jsonOf(*attribute));
      for (auto const& operation : reflection->operations)
        json["operations"].push_back(jsonOf(operation));
    }
    types.push_back(std::move(json));
  });
  return nlohmann::ordered_json{{"types", std::move(types)}}.dump(2) + "\n";
}

std::string catalogueMarkdown() {
  std::string text =
      "# Catalogue\n\nAll types that are known by name, as `orvia-l3-agent catalogue` prints them. "
      "Made by `tools/update-reference`;\nedit the tables in the sources instead. "
      "[reference.md](../reference.md) explains it.\n";
  forEachType([&text](VekType type) {
    std::string const base = nameOf(type.info()->base);
    text += fmt::format("\n## {}\n\nModule {}, number {}, {}{}.\n", nameOf(type), type.module->name,
                        type.number, kindOf(type), base.empty() ? "" : "; is a `" + base + "`");
    Vek::VekReflection const* const reflection = reflectionOf(type);
    if (reflection == nullptr) return;
    if (!reflection->attributes.empty())
      text += "\n| id | attribute | type | access |\n|---|---|---|---|\n";
    for (Vek::VekAttribute const* const attribute : attributesById(*reflection)) {
      text += fmt::format("| {} | `{}` | {} | {} |\n", attribute->id.value(), attribute->name,
                          typeOf(*attribute), accessOf(*attribute));
    }
    if (!reflection->operations.empty()) text += "\n| operation | |\n|---|---|\n";
    for (Vek::VekOperation const& operation : reflection->operations) {
      text += fmt::format("| `{}` | {} |\n", signatureOf(operation), remarkOf(operation));
    }
  });
  return text;
}

int catalogueCommand(CatalogueOptions const& options) {
  switch (options.form) {
    case CatalogueOptions::Form::text:
      fmt::print("{}", catalogueText());
      break;
    case CatalogueOptions::Form::json:
      fmt::print("{}", catalogueJson());
      break;
    case CatalogueOptions::Form::markdown:
      fmt::print("{}", catalogueMarkdown());
      break;
  }
  return kExitOk;
}

}  // namespace OrviaL3Agent
