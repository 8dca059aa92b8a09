# Warnings that hold for all of our own code. Errors only where a preset asks for it (CMAKE_COMPILE_WARNING_AS_ERROR).
add_library(kel_warnings INTERFACE)
target_compile_options(kel_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
