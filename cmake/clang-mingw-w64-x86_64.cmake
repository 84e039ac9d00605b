set(TV_TARGET_TRIPLET x86_64-w64-mingw32)
include("${CMAKE_CURRENT_LIST_DIR}/clang-mingw-w64.cmake")
