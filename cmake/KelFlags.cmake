# Flags that hold for all of our own code. Warnings are errors only where a preset asks for it
# (CMAKE_COMPILE_WARNING_AS_ERROR). No contraction: all compilers give the same doubles.
add_library(kel_flags INTERFACE)
target_compile_options(kel_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
# Of sources that are compiled many at a time one hides the private names of another, which says nothing about either.
target_compile_options(kel_flags INTERFACE $<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-shadow>)
