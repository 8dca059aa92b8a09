// The standard headers that tests want, and the library's names.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "kel.h"

namespace TARN_TEST {

using namespace TARN_KEL;
using Points = std::vector<Point3>;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

}  // namespace TARN_TEST
