# Imports of a system library that are looked up when the first of its functions is called, so that a program starts
# where the library doesn't. Its users try LoadLibrary first, and call nothing of the library when that fails.

# tv_delay_import(winhttp): the interface library delay_winhttp, to be linked in place of winhttp.
function(tv_delay_import name)
  find_library(TV_IMPORTS_OF_${name} ${name} REQUIRED)
  set(stem ${PROJECT_BINARY_DIR}/delay_${name})
  # The library's own list of what it exports, with the decorations of stdcall on x86. The entry points of COM servers
  # are every DLL's own.
  execute_process(
    COMMAND ${CMAKE_NM} ${TV_IMPORTS_OF_${name}}
    OUTPUT_VARIABLE symbols ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(prefix __imp__)
  else()
    set(prefix __imp_)
  endif()
  string(REGEX MATCHALL " I ${prefix}[^\n]+" symbols "${symbols}")
  list(TRANSFORM symbols REPLACE " I ${prefix}" "")
  list(FILTER symbols EXCLUDE REGEX "^Dll")
  list(REMOVE_DUPLICATES symbols)
  list(JOIN symbols "\n" symbols)
  file(WRITE ${stem}.def "LIBRARY ${name}.dll\nEXPORTS\n${symbols}\n")
  add_library(delay_${name} INTERFACE)
  target_link_libraries(delay_${name} INTERFACE ${stem}.a delayimp)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # lld takes tables that are made for `ld` for constants, and makes such tables itself.
    find_program(TV_LLVM_DLLTOOL NAMES llvm-dlltool REQUIRED)
    set(machine i386:x86-64)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      set(machine i386)
    endif()
    set(make ${TV_LLVM_DLLTOOL} -m ${machine} -l ${stem}.a)
    target_link_options(delay_${name} INTERFACE -Wl,--Xlink=-delayload:${name}.dll)
  else()
    set(make ${TV_TARGET_TRIPLET}-dlltool -y ${stem}.a)
  endif()
  execute_process(COMMAND ${make} -k -d ${stem}.def COMMAND_ERROR_IS_FATAL ANY)
endfunction()
