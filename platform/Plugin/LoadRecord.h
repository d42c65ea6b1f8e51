// What became of the plug-ins of each directory: asked by an agent that misses a utility, and by
// its operator.
//
//   Plugin::LoadRecord const record = Plugin::loadRecord(loader->path());
//   if (factory == nullptr) std::cerr << record.text() << '\n';
//
// Kept for the life of the process. One thread.
#pragma once

#include <string>
#include <vector>

#include "Vek/Export.h"

namespace Plugin {

struct LoadFailure {
  std::string file;    // absolute; the directory itself when that could not be read
  std::string reason;  // one line

  friend bool operator==(LoadFailure const&, LoadFailure const&) = default;
};

// What a file brought: the tables whose utilities it makes.
struct LoadAnnouncement {
  std::string file;
  // By qualified name, in the order of announcing. Without those that are among the failures.
  std::vector<std::string> tables;

  friend bool operator==(LoadAnnouncement const&, LoadAnnouncement const&) = default;
};

struct VEK_EXPORT LoadRecord {
  std::string loader;           // who asked first; empty when nobody asked for this path
  std::string directory;        // where it was looked for last, absolute
  bool directoryFound = false;  // a missing directory is no failure
  // The files whose entry function succeeded, in the order of loading. One whose utility came too
  // late for its table is among the failures as well.
  std::vector<std::string> files;
  // One for each of `files`, in their order.
  std::vector<LoadAnnouncement> announcements;
  std::vector<LoadFailure> failures;

  // All of it for an operator: where it was looked, what each file that was opened announced, and
  // what went wrong. A file that announced other tables than the one whose qualified name the
  // directory carries is pointed out: a misspelt name is no failure, since a plug-in may bring
  // utilities of several tables. A line for each, without a line end behind the last.
  [[nodiscard]] std::string text() const;
};

// The record of a path under the plug-in root, such as
// "OrviaFeaturePlugin/OrviaL3Unicast::L3EcmpGroupTable"; an empty one when nobody asked for it.
[[nodiscard]] VEK_EXPORT LoadRecord loadRecord(std::string const& path);
// The failures of that path alone.
[[nodiscard]] VEK_EXPORT std::vector<LoadFailure> failures(std::string const& path);

}  // namespace Plugin
