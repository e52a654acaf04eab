# Builds a resource-only Windows DLL, such as a message library strings_<facility>_<language>.dll,
# from an .rc file with the LLVM tools (Debian: llvm and lld):
#
#   basalt_add_resource_dll(<target> NAME <file.dll> RC <file.rc>
#                           [MACHINE x86|x64] [OUTPUT_DIRECTORY <dir>])
#
# The .rc file is read as UTF-8 and is not preprocessed, so identifiers are numbers. MACHINE
# defaults to x86, as the original libraries were; OUTPUT_DIRECTORY to the current binary
# directory. The DLL's path is the target property BASALT_RESOURCE_DLL.
#
# By hand it is three commands:
#   llvm-rc -no-preprocess /C 65001 /FO file.res -- file.rc
#   llvm-cvtres /MACHINE:X86 /OUT:file.obj file.res
#   lld-link /NOENTRY /DLL /MACHINE:X86 /BREPRO /OUT:file.dll file.obj

find_program(BASALT_LLVM_RC NAMES llvm-rc llvm-rc-16 llvm-rc-15 llvm-rc-14)
find_program(BASALT_LLVM_CVTRES NAMES llvm-cvtres llvm-cvtres-16 llvm-cvtres-15 llvm-cvtres-14)
find_program(BASALT_LLD_LINK NAMES lld-link lld-link-16 lld-link-15 lld-link-14)

function(basalt_add_resource_dll target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;RC;MACHINE;OUTPUT_DIRECTORY" "")
  if(NOT arg_NAME OR NOT arg_RC)
    message(FATAL_ERROR "basalt_add_resource_dll(${target}): NAME and RC are required")
  endif()
  foreach(tool BASALT_LLVM_RC BASALT_LLVM_CVTRES BASALT_LLD_LINK)
    if(NOT ${tool})
      message(FATAL_ERROR "basalt_add_resource_dll: llvm-rc, llvm-cvtres and lld-link are needed "
                          "(Debian packages llvm and lld)")
    endif()
  endforeach()
  if(NOT arg_MACHINE)
    set(arg_MACHINE x86)
  endif()
  string(TOUPPER "${arg_MACHINE}" machine)
  if(NOT machine MATCHES "^(X86|X64)$")
    message(FATAL_ERROR "basalt_add_resource_dll(${target}): MACHINE is x86 or x64")
  endif()
  if(NOT arg_OUTPUT_DIRECTORY)
    set(arg_OUTPUT_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
  endif()

  get_filename_component(source "${arg_RC}" ABSOLUTE)
  set(work "${CMAKE_CURRENT_BINARY_DIR}/${target}.dir")
  set(dll "${arg_OUTPUT_DIRECTORY}/${arg_NAME}")
  add_custom_command(
    OUTPUT "${dll}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${work}" "${arg_OUTPUT_DIRECTORY}"
    # "--" ends the options: llvm-rc reads any argument starting with "/" as a switch, so an
    # absolute input such as /check/x.rc would be taken for "/C heck/x.rc".
    COMMAND "${BASALT_LLVM_RC}" -no-preprocess /C 65001 /FO "${work}/strings.res" -- "${source}"
    COMMAND "${BASALT_LLVM_CVTRES}" /MACHINE:${machine} "/OUT:${work}/strings.obj"
            "${work}/strings.res"
    COMMAND "${BASALT_LLD_LINK}" /NOENTRY /DLL /MACHINE:${machine} /BREPRO
            "/IMPLIB:${work}/strings.lib" "/OUT:${dll}" "${work}/strings.obj"
    DEPENDS "${source}"
    COMMENT "Building resource DLL ${arg_NAME}"
    VERBATIM)
  add_custom_target(${target} DEPENDS "${dll}")
  set_target_properties(${target} PROPERTIES BASALT_RESOURCE_DLL "${dll}")
endfunction()
