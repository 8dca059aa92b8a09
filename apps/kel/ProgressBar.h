#pragma once

#include <kel.h>

#include <string>

/// One line on standard error that is drawn anew at each report of the library, for as long as the object lives. The runs
/// must be on the thread that made it.
class ProgressBar : public TARN_KEL::ProgressBase {
public:
    ProgressBar() { TARN_KEL::subscribe(this); }
    ~ProgressBar() override;
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(const std::string& name, double fraction) override;

private:
    bool bDrawn = false;
};
