#pragma once

#include <memory>
#include <vector>

namespace zelbench {

enum class Cores { Any, One, Two };

// Keeps this process on one core and others on the same or on a second one. A scheduler that is free puts two processes
// that wait for each other on one core or on two as it likes, and an exchange on one core costs a fraction of one that
// wakes a sleeping core: without this the placement would be measured.
class Placement {
  public:
    // With all threads that the processes have by now. Any leaves all of them to the scheduler.
    Placement(const std::vector<int>& otherProcessIds, Cores cores);
    // Gives this process its freedom back; the others keep their core.
    ~Placement();
    Placement(const Placement&) = delete;
    Placement& operator=(const Placement&) = delete;

  private:
    struct Allowed;
    std::unique_ptr<Allowed> mBefore;
};

}  // namespace zelbench
