// How a command ends that can't do what it was asked to.
#pragma once

#include <stdexcept>

/// Ends a command: its text is printed as one line on standard error, and the exit status is 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
