#pragma once

#include <kel.h>

#include <string>

/// A progress bar on standard error: one line, redrawn at each report of the library as long as the object exists. It shows
/// the runs of the thread that created it.
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
