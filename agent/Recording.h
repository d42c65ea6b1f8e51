// The utilities that write down what other hardware is asked for: RecordingUtil.h.
//
//   auto const recording = std::make_shared<Recording>();
//   recording->await();                        // before the other hardware may answer
//   if (recording->answers() != seen) ...      // something has been answered since
//
// Threading: the loop's thread. Ownership: shared by the recorders, which it does not own.
#pragma once

#include <cstdint>
#include <vector>

namespace OrviaL3Agent {

class Recording {
 public:
  class Recorder {
   public:
    virtual ~Recorder() = default;
    // What its table's handles show from here on is the hardware's word.
    virtual void await() = 0;
  };

  void recorderIs(Recorder* recorder) { recorders_.push_back(recorder); }
  void recorderDel(Recorder* recorder) { std::erase(recorders_, recorder); }
  [[nodiscard]] bool empty() const { return recorders_.empty(); }

  void await() {
    for (Recorder* const recorder : recorders_) recorder->await();
  }

  void answered() { ++answers_; }
  // Heard so far.
  [[nodiscard]] std::uint64_t answers() const { return answers_; }

 private:
  std::vector<Recorder*> recorders_;
  std::uint64_t answers_ = 0;
};

}  // namespace OrviaL3Agent
