# Cross compilers for Windows as Debian packages them, in the variant with POSIX threads (std::mutex and friends need it).
# The two files that include this one name the target.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TV_TARGET_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TV_TARGET_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${TV_TARGET_TRIPLET}-windres)
set(TV_WIDL ${TV_TARGET_TRIPLET}-widl)
set(CMAKE_FIND_ROOT_PATH /usr/${TV_TARGET_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
