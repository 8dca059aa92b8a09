// Prints the unit of time of growth.sh, the best of three, so that figures from different and from noisy machines can be
// compared.
#include "unit.h"

#include <iostream>

int main() {
    std::cout << std::min({sortUnit(), sortUnit(), sortUnit()}) << std::endl;
}
