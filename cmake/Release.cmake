# What a released binary has besides: symbols as a PDB file, and the same bytes from every folder, machine and day.

option(TV_RELEASE "Build as for a release (the release presets set it; needs clang)" OFF)

if(TV_RELEASE)
  # Functions, lines and variables, in the form that Windows' debuggers read. No path of this machine is in them.
  add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-g;-gcodeview;-ffile-compilation-dir=.;-ffile-prefix-map=../../=>")
  foreach(rule COMPILE LINK)
    set_property(GLOBAL PROPERTY RULE_LAUNCH_${rule} "\"${PROJECT_SOURCE_DIR}/cmake/relative-paths.sh\" \"${PROJECT_SOURCE_DIR}\"")
  endforeach()
  add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-ffunction-sections;-fdata-sections>")
  add_link_options(-Wl,--gc-sections -Wl,--no-insert-timestamp)
  # Beside each binary; named in it without a folder. The linker's working folder isn't in it either.
  add_link_options(-Wl,--pdb= -Wl,--Xlink=-pdbaltpath:%_PDB% -Wl,--Xlink=-pdbsourcepath:.)
  # Runs what writes the time into its output, as widl does into type libraries.
  find_program(TV_FAKETIME faketime REQUIRED)
  set(TV_AT_ONE_TIME ${CMAKE_COMMAND} -E env TZ=UTC ${TV_FAKETIME} -f "2000-01-01 00:00:00")
endif()

# tv_finish_release(target): what the linker leaves in a binary of the symbols of the compiler's own libraries, which no
# debugger of Windows' reads, is taken away.
function(tv_finish_release target)
  add_custom_command(TARGET ${target} POST_BUILD COMMAND llvm-strip --strip-debug $<TARGET_FILE:${target}> VERBATIM)
endfunction()
