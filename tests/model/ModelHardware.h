// The hardware table of one table: what was written, and how it answers. The tables' utilities and
// their hardware tables in one.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ModelJournal.h"
#include "ModelKey.h"

namespace Model {

class Table;

// An answer that waits: of a row, or of an ingress key.
struct Waiting {
  std::uint32_t table;
  std::uint32_t row;
  HandlePtr key;
};

class Hardware {
 public:
  enum class Mode : std::uint8_t { wait, accept, refuse, never };

  Hardware(Journal& journal, std::vector<Waiting>& waiting, std::uint32_t table, std::string name)
      : journal_(journal), waiting_(waiting), table_(table), name_(std::move(name)) {}

  void modeIs(Mode mode) { mode_ = mode; }
  // Where answers go.
  void tableIs(std::weak_ptr<Table> const& table) { answered_ = table; }
  // The table is gone, also when an operation in it goes on: its writes are not answered any more,
  // and what waits for it is thrown away.
  void tableDel();

  // A write of a row, whose answer is for the row, and of the row of an ingress key.
  void write(std::uint32_t row, std::string const& text);
  void write(HandlePtr const& key, std::string const& text);
  void remove(std::uint32_t row);
  void removeAll();
  void sync() { journal_.line(name_ + " sync"); }

  void answer(std::uint32_t row, HandlePtr const& key, std::uint32_t state);

  [[nodiscard]] std::map<std::uint32_t, std::string> const& rows() const { return rows_; }

 private:
  void write(std::uint32_t row, HandlePtr const& key, std::string const& text);

  Journal& journal_;
  std::vector<Waiting>& waiting_;
  std::uint32_t table_;
  std::string name_;
  Mode mode_ = Mode::wait;
  std::weak_ptr<Table> answered_;
  bool tableGone_ = false;
  std::map<std::uint32_t, std::string> rows_;
};

}  // namespace Model
