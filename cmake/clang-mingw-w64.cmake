# clang and lld with the headers and libraries of Debian's mingw-w64 and GCC, whose run-time library the programs have in them.
# What GCC's own linker can't make, Windows' debuggers get: symbols as PDB files, beside each DLL and program. The two
# files that include this one name the target. docs/releasing.md says why.
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${TV_TARGET_TRIPLET})
set(CMAKE_CXX_COMPILER_TARGET ${TV_TARGET_TRIPLET})

execute_process(COMMAND ${TV_TARGET_TRIPLET}-g++-posix -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(gcc ${libgcc} DIRECTORY)
# GCC's run-time library emulates thread_local, so this compiler must do the same.
set(headers "-stdlib++-isystem ${gcc}/include/c++ -stdlib++-isystem ${gcc}/include/c++/${TV_TARGET_TRIPLET}")
set(CMAKE_C_FLAGS_INIT "-femulated-tls")
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls ${headers}")
foreach(kind EXE SHARED MODULE)
  # The thread library is what GCC's run-time library needs; GCC adds it by itself.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${gcc} -L${gcc} -lpthread")
endforeach()
