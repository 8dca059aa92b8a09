// The colours of drawings.
#pragma once

namespace TARN_KEL {

// In the format of OFF and VECT objects: red, green, blue, alpha.
inline constexpr const char* CLIGHTBLUE = "0 0.70 .9 0.5";
inline constexpr const char* CDARKBLUE = "0 0.2 .85 0.5";
inline constexpr const char* CYELLOW = "1 1 0 0.5";
inline constexpr const char* CPINK = "1 0.411 0.705 0.5";
inline constexpr const char* CBLACK = "0.1 0.1 0.1 0.5";
inline constexpr const char* CLIGHTBROWN = "0.823 0.705 0.549 0.5";
inline constexpr const char* CDARKBROWN = "0.545 0.271 0.074 0.5";
inline constexpr const char* CORANGE = "1 0.627 0 0.5";
inline constexpr const char* CPURPLE = "0.627 0.125 0.941 0.5";
inline constexpr const char* CGRAY = ".745 .745 .745 0.5";
inline constexpr const char* CLIGHTGRAY = ".445 .445 .445 0.5";
inline constexpr const char* CRED = "1 0 0 0.5";
inline constexpr const char* CGREEN = "0 1 0 0.5";
inline constexpr const char* CWHITE = "1 1 1 0.5";
inline constexpr const char* CCRIMSON = ".86 .08 .24 0.5";
inline constexpr const char* CDARKORANGE = "1 .55 0 0.5";
inline constexpr const char* CGOLDENROD = ".85 .65 .13 0.5";
inline constexpr const char* COLIVE = ".5 .5 .0 0.5";
inline constexpr const char* CLAWNGREEN = "0.49\t0.99 0.00 0.5";
inline constexpr const char* CGREENYELLOW = "0.68 1.00 0.18 0.5";
inline constexpr const char* CPALEGREEN = "0.60\t0.98 0.60 0.5";
inline constexpr const char* CMEDSPRINGGREEN = "0.00 0.98 0.60 0.5";
inline constexpr const char* CLIGHTSEAGREAN = "0.13 0.70 0.67 0.5";
inline constexpr const char* CCYAN = "0.00 1.00 1.00 0.5";
inline constexpr const char* CSTEELBLUE = "0.27 0.51 0.71 0.5";
inline constexpr const char* MIDNIGHTBLUE = "0.10 0.10 0.44 0.5";
inline constexpr const char* CWHEAT = "0.96 0.87 0.7 0.5";

}  // namespace TARN_KEL
