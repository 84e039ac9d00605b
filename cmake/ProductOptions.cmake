# What every target of ours shares, and the functions that make targets. One place for standard, warnings and definitions.

option(TV_WARNINGS_AS_ERRORS "Stop at the first warning in our own code (CI sets it)" OFF)

add_library(tv_options INTERFACE)
target_compile_features(tv_options INTERFACE cxx_std_20)
target_compile_definitions(tv_options INTERFACE
  UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
# Locks tell base/LockOrder.h what they do: in every file of a build or in none.
target_compile_definitions(tv_options INTERFACE $<$<CONFIG:Debug>:TV_LOCK_ORDER>)
target_compile_options(tv_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${TV_WARNINGS_AS_ERRORS}>:-Werror>)
# A function with a buffer ends the program when somebody has written behind it (base/StackGuard.cpp).
target_compile_options(tv_options INTERFACE -fstack-protector-strong)
target_link_libraries(tv_options INTERFACE stack_guard)
# Nothing of the compiler's own may be needed beside our binaries.
target_link_options(tv_options INTERFACE -static)
# Modules lie at random addresses, and none of their data is code. The linkers do so by themselves; this says that we need it.
target_link_options(tv_options INTERFACE -Wl,--dynamicbase,--nxcompat)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  target_link_options(tv_options INTERFACE -Wl,--high-entropy-va)
endif()
target_include_directories(tv_options INTERFACE ${PROJECT_SOURCE_DIR})

# /usr/include must never be on a cross compiler's path, so header-only libraries are linked into a folder of their own.
set(TV_THIRD_PARTY ${PROJECT_BINARY_DIR}/third_party)
file(MAKE_DIRECTORY ${TV_THIRD_PARTY})
foreach(library boost CLI nlohmann)
  if(NOT EXISTS /usr/include/${library})
    message(FATAL_ERROR "/usr/include/${library} is missing: run tools/setup.sh")
  endif()
  file(CREATE_LINK /usr/include/${library} ${TV_THIRD_PARTY}/${library} SYMBOLIC)
endforeach()
add_library(tv_third_party INTERFACE)
target_include_directories(tv_third_party SYSTEM INTERFACE ${TV_THIRD_PARTY})

# tv_add_library(name SOURCES... [LIBS libraries...]): a static library of ours.
function(tv_add_library name)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC tv_options ${ARG_LIBS})
endfunction()

# tv_add_version_resource(target description): the version block that Windows shows for a DLL or program.
function(tv_add_version_resource target description)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL EXECUTABLE)
    set(TV_FILE_TYPE VFT_APP)
    set(TV_FILE_NAME ${target}.exe)
  else()
    set(TV_FILE_TYPE VFT_DLL)
    set(TV_FILE_NAME ${target}.dll)
  endif()
  set(TV_FILE_DESCRIPTION "${description}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.version.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.version.rc)
endfunction()

# tv_ship(targets...): DLLs and programs that users get, which the tests of what is shipped look at.
function(tv_ship)
  set_property(GLOBAL APPEND PROPERTY TV_SHIPPED ${ARGN})
  if(TV_RELEASE)
    foreach(target ${ARGN})
      tv_finish_release(${target})
    endforeach()
  endif()
endfunction()

# tv_add_dll(name "description" SOURCES... [LIBS ...]): a DLL named exactly `name`.dll; a .def file among the sources names
# its exports.
function(tv_add_dll name description)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_library(${name} SHARED ${ARG_UNPARSED_ARGUMENTS})
  set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX "")
  target_link_libraries(${name} PRIVATE tv_options ${ARG_LIBS})
  tv_add_version_resource(${name} "${description}")
endfunction()

# tv_add_program(name "description" SOURCES... [LIBS ...]): a console program with a wide-character entry point and our manifest.
function(tv_add_program name description)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS} ${PROJECT_SOURCE_DIR}/cmake/Program.rc)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/cmake/Program.rc PROPERTIES OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/Program.manifest)
  target_link_libraries(${name} PRIVATE tv_options ${ARG_LIBS})
  target_link_options(${name} PRIVATE -municode)
  tv_add_version_resource(${name} "${description}")
endfunction()

# The platform's own IDL, which ours imports.
set(TV_IDL_INCLUDE /usr/include/wine/wine/windows)

# tv_compile_idl(target files...): headers from IDL, made by widl into the build tree and offered by the interface library
# `target`. They count as system headers: generated code answers to the generator's style, not to ours.
function(tv_compile_idl target)
  set(out ${CMAKE_CURRENT_BINARY_DIR}/generated)
  file(MAKE_DIRECTORY ${out})
  set(headers)
  foreach(idl ${ARGN})
    get_filename_component(stem ${idl} NAME_WE)
    add_custom_command(
      OUTPUT ${out}/${stem}.h
      COMMAND ${TV_WIDL} -h -o ${out}/${stem}.h -I ${TV_IDL_INCLUDE} ${idl}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}  # the header names its source
      DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${idl}
      COMMENT "widl ${idl}" VERBATIM)
    list(APPEND headers ${out}/${stem}.h)
  endforeach()
  add_custom_target(${target}_headers DEPENDS ${headers})
  add_dependencies(${target} ${target}_headers)
  target_include_directories(${target} SYSTEM INTERFACE ${out})
endfunction()

# tv_compile_typelib(target idl): the type libraries of an IDL file for both bitnesses, `stem`32.tlb and `stem`64.tlb, in
# the build tree of `target`'s folder; resource scripts of whoever links `target` find them.
set(TV_STDOLE_FOLDERS -L /usr/lib/x86_64-linux-gnu/wine/x86_64-windows -L /usr/lib/wine/x86_64-windows)
function(tv_compile_typelib target idl)
  set(out ${CMAKE_CURRENT_BINARY_DIR}/generated)
  get_filename_component(stem ${idl} NAME_WE)
  set(libraries)
  foreach(bits 32 64)
    add_custom_command(
      OUTPUT ${out}/${stem}${bits}.tlb
      COMMAND ${TV_AT_ONE_TIME} ${TV_WIDL} -t --win${bits} -o ${out}/${stem}${bits}.tlb ${TV_STDOLE_FOLDERS}
        -I ${TV_IDL_INCLUDE} ${idl}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
      DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${idl}
      COMMENT "widl -t ${idl}, ${bits} bit" VERBATIM)
    list(APPEND libraries ${out}/${stem}${bits}.tlb)
  endforeach()
  add_custom_target(${target}_${stem}_tlb ALL DEPENDS ${libraries})
  add_dependencies(${target} ${target}_${stem}_tlb)
endfunction()
