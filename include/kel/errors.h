// The exceptions that the library throws.
#pragma once

#include <exception>

namespace TARN_KEL {

/// Wrong use, or a violated internal condition. Its report has been printed as a message before it is thrown.
class KelBugException : public std::exception {
public:
    /// A fixed text; the report says what was wrong.
    const char* what() const noexcept override;
};

/// The end of a run whose stop flag became true (pStop of ReconstructOptions and MeltOptions).
class KelStoppedException : public std::exception {
public:
    /// A fixed text.
    const char* what() const noexcept override;
};

}  // namespace TARN_KEL
