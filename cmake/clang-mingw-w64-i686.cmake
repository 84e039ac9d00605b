set(TV_TARGET_TRIPLET i686-w64-mingw32)
include("${CMAKE_CURRENT_LIST_DIR}/clang-mingw-w64.cmake")
