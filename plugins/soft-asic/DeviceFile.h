// A file that holds what the rows of a simulated device hold, so that the hardware outlives the
// agent's process as a switch ASIC does.
//
//   Vek::Ptr<DeviceFile> file = new DeviceFile("/var/lib/agent/asic", sizes);
//   file->groups()[7].contentsIs(...);                    // in the file at once
//   SoftDevice device(sizes, faults, "/var/lib/agent/asic");   // what does it for a whole device
//
// Only contents are hardware. Answers, stamps, fates, refusals and faults belong to the process.
//
// The file is made when there is none: under another name first, with all its rows empty, so that
// what has the name is whole. A process that is killed meanwhile leaves the other one behind, which
// means nothing. The file is locked for as long as it is open. Rows survive the death of the
// process at any point (StoredRow.h), but not a power failure, and nobody else may cut the file
// short meanwhile.
//
// The layout is a header, then the rows of next hops, members and groups, each as this process has
// them in memory. It is for this machine; other row sizes are found out and refused.
//
// One thread. Whoever uses rows keeps the file alive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Contents.h"
#include "plugins/soft-asic/DeviceSizes.h"
#include "plugins/soft-asic/Export.h"
#include "plugins/soft-asic/StoredRow.h"

namespace SoftAsic {

class SOFT_ASIC_EXPORT DeviceFile final : public Vek::PtrInterface {
 public:
  // Opens or makes it. Throws std::system_error when the system does not let it, and
  // std::runtime_error when the file is in use, is something else, or is of another version, of
  // other sizes, truncated or damaged. Both begin with the path, and the file is as it was then.
  DeviceFile(std::string const& path, DeviceSizes const& sizes);
  // Ends the lock.
  ~DeviceFile() override;

  [[nodiscard]] std::string const& path() const { return path_; }
  [[nodiscard]] DeviceSizes const& sizes() const { return sizes_; }
  // The rows of the three tables, each as many as the sizes say.
  [[nodiscard]] StoredRow<NextHopContents>* nextHops() const { return nextHops_; }
  [[nodiscard]] StoredRow<MemberContents>* members() const { return members_; }
  [[nodiscard]] StoredRow<GroupContents>* groups() const { return groups_; }

 private:
  std::string path_;
  DeviceSizes sizes_;
  int file_ = -1;
  std::size_t bytes_ = 0;
  StoredRow<NextHopContents>* nextHops_ = nullptr;
  StoredRow<MemberContents>* members_ = nullptr;
  StoredRow<GroupContents>* groups_ = nullptr;
  void* mapped_ = nullptr;
};

}  // namespace SoftAsic
