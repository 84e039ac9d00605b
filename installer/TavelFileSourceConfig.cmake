# find_package(TavelFileSource): the target Tavel::FileSource has the SDK's headers. They need nothing to be linked but
# the platform's uuid, ole32 and oleaut32.
if(NOT TARGET Tavel::FileSource)
  get_filename_component(TavelFileSource_FOLDER "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
  add_library(Tavel::FileSource INTERFACE IMPORTED)
  set_target_properties(Tavel::FileSource PROPERTIES
    INTERFACE_COMPILE_FEATURES cxx_std_17
    INTERFACE_INCLUDE_DIRECTORIES "${TavelFileSource_FOLDER}/include"
    INTERFACE_LINK_LIBRARIES "uuid;ole32;oleaut32")
  set(TavelFileSource_IDL_FOLDER "${TavelFileSource_FOLDER}/idl")
  set(TavelFileSource_TYPELIB_FOLDER "${TavelFileSource_FOLDER}/typelib")
endif()
