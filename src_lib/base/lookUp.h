#pragma once

#include <cstddef>

namespace TARN_KEL {

/// Lets the heartbeat of the calling thread beat if that is due; it may throw. See runTasks.h.
void lookUp();
/// How often hearts beat, in all threads; 50 at first. With 0 a thread that waits is busy all the time: for tests.
void setHeartbeatPeriod(int milliseconds);

/// For long loops on the thread of a run, which would hear nothing meanwhile: looks up every so many steps.
class LookingUp {
public:
    explicit LookingUp(std::size_t numStepsBetween) : period(numStepsBetween) {}
    /// To be called at each step.
    void step() {
        if (++numSteps % period == 0) lookUp();
    }

private:
    const std::size_t period;
    std::size_t numSteps = 0;
};

}  // namespace TARN_KEL
