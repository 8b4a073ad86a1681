# Resources from a script (.rc): menus, dialogs, texts and bytes that a program carries or loads.
#
#   qv_language_module(NAME source.rc [FOLDER folder])
#     The language module NAME.LNG (target NAME_language) from a resource script, for a program called NAME in
#     the same folder.
#   qv_compiled_resources(TARGET source.rc FILE)
#     The compiled resource file FILE from a script.
#   qv_program_resources(PROGRAM source.rc)
#     The resources of a program, inside it on both systems.

# A language module holds resources and no code: on Windows an image without an entry, elsewhere the compiled
# resource file itself. The script is read as UTF-8.
function(qv_language_module name source)
  cmake_parse_arguments(L "" "FOLDER" "" ${ARGN})
  if(NOT L_FOLDER)
    set(L_FOLDER "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  set(target ${name}_language)
  if(WIN32)
    add_library(${target} MODULE ${source})
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C OUTPUT_NAME ${name} PREFIX "" SUFFIX .LNG
                          LIBRARY_OUTPUT_DIRECTORY "${L_FOLDER}")
    target_link_options(${target} PRIVATE -nostdlib -Wl,--entry=0)
    return()
  endif()
  qv_compiled_resources(${target} ${source} "${L_FOLDER}/${name}.LNG")
endfunction()

# The script is read as UTF-8; the preprocessor that the resource compiler would take is the cross compiler's.
function(qv_compiled_resources target source file)
  find_program(QV_RESOURCE_COMPILER x86_64-w64-mingw32-windres REQUIRED)
  set(preprocessor "--preprocessor=${CMAKE_CXX_COMPILER}" --preprocessor-arg=-E --preprocessor-arg=-xc
                   --preprocessor-arg=-DRC_INVOKED)
  get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}/${source}" DIRECTORY)
  add_custom_command(
    OUTPUT "${file}"
    COMMAND ${QV_RESOURCE_COMPILER} ${preprocessor} "--include-dir=${folder}" -c 65001 -O res
            "${CMAKE_CURRENT_SOURCE_DIR}/${source}" "${file}"
    DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${source}" VERBATIM)
  add_custom_target(${target} ALL DEPENDS "${file}")
endfunction()

# On Windows the linker takes the script. Elsewhere its compiled form becomes data of the program, behind the
# names that the platform layer looks for.
function(qv_program_resources program source)
  if(WIN32)
    target_sources(${program} PRIVATE ${source})
    return()
  endif()
  set(QV_RESOURCES "${CMAKE_CURRENT_BINARY_DIR}/${program}.res")
  set(carrier "${CMAKE_CURRENT_BINARY_DIR}/${program}_resources.cpp")
  qv_compiled_resources(${program}_resources ${source} "${QV_RESOURCES}")
  configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/program_resources.cpp.in" "${carrier}" @ONLY)
  target_sources(${program} PRIVATE "${carrier}")
  set_source_files_properties("${carrier}" PROPERTIES OBJECT_DEPENDS "${QV_RESOURCES}")
  add_dependencies(${program} ${program}_resources)
endfunction()
