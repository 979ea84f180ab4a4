# One library per folder, each seeing only the headers of the libraries it
# declares. The headers of a library are staged (as symbolic links) under
# build/include/<library>/<folder>/, and that staging folder is the only
# include path the library gives to those who use it; a source that includes
# a header of a library it does not use, directly or through the libraries it
# uses, therefore does not compile.

set(TARNEX_STAGE ${CMAKE_BINARY_DIR}/include)

# Links every header in `headers` (names relative to `folder`) into the
# staging folder of `name`.
function(_tarnex_stage name folder)
  set(stage ${TARNEX_STAGE}/${name})
  file(REMOVE_RECURSE ${stage})
  file(MAKE_DIRECTORY ${stage}/${folder})
  foreach(h ${ARGN})
    get_filename_component(sub ${h} DIRECTORY)
    file(MAKE_DIRECTORY ${stage}/${folder}/${sub})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder}/${h} ${stage}/${folder}/${h} SYMBOLIC)
  endforeach()
endfunction()

# A library may use only libraries defined before it: the order of the
# definitions is the order of the layers.
function(_tarnex_check_uses name)
  foreach(dep ${ARGN})
    if(dep MATCHES "^tarnex_" AND NOT TARGET ${dep})
      message(FATAL_ERROR "${name} uses ${dep}, which is not defined before it: "
                          "a library may only use the layers below it")
    endif()
  endforeach()
endfunction()

# tarnex_layer(NAME FOLDER dir [EXCLUDE file...] [ONLY file...] [USES library...])
# The sources and headers of one folder (all but the EXCLUDEd ones and the
# folder's fields.h, or only the ONLY ones) as one library.
function(tarnex_layer name)
  cmake_parse_arguments(L "" "FOLDER" "EXCLUDE;ONLY;USES" ${ARGN})
  set(dir ${CMAKE_SOURCE_DIR}/${L_FOLDER})
  if(L_ONLY)
    set(files ${L_ONLY})
  else()
    file(GLOB files CONFIGURE_DEPENDS RELATIVE ${dir} ${dir}/*.cpp ${dir}/*.h)
    list(REMOVE_ITEM files fields.h ${L_EXCLUDE})
  endif()
  _tarnex_check_uses(${name} ${L_USES})
  set(sources)
  set(headers)
  foreach(f ${files})
    if(f MATCHES "\\.cpp$")
      list(APPEND sources ${dir}/${f})
    else()
      list(APPEND headers ${f})
    endif()
  endforeach()
  _tarnex_stage(${name} ${L_FOLDER} ${headers})
  if(sources)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${TARNEX_STAGE}/${name})
    target_link_libraries(${name} PUBLIC ${L_USES})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${TARNEX_STAGE}/${name})
    target_link_libraries(${name} INTERFACE ${L_USES})
  endif()
endfunction()

# tarnex_fields(NAME FOLDERS dir...): the fields.h of each folder, the parts
# of the server model that core/model.h assembles. They depend on nothing.
function(tarnex_fields name)
  cmake_parse_arguments(F "" "" "FOLDERS" ${ARGN})
  set(stage ${TARNEX_STAGE}/${name})
  file(REMOVE_RECURSE ${stage})
  foreach(folder ${F_FOLDERS})
    file(MAKE_DIRECTORY ${stage}/${folder})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder}/fields.h ${stage}/${folder}/fields.h SYMBOLIC)
  endforeach()
  add_library(${name} INTERFACE)
  target_include_directories(${name} INTERFACE ${stage})
endfunction()

# tarnex_headers(NAME FOLDER dir USES library...): the headers of a folder
# that has no library of its own (the tests' helpers).
function(tarnex_headers name)
  cmake_parse_arguments(H "" "FOLDER" "USES" ${ARGN})
  file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/${H_FOLDER}
       ${CMAKE_SOURCE_DIR}/${H_FOLDER}/*.h)
  _tarnex_stage(${name} ${H_FOLDER} ${headers})
  add_library(${name} INTERFACE)
  target_include_directories(${name} INTERFACE ${TARNEX_STAGE}/${name})
  target_link_libraries(${name} INTERFACE ${H_USES})
endfunction()

# The tests that the layers hold: each probe includes one header with the
# include path of one library; a header of a layer above (or of a library not
# used) must not be found, and a header of a layer below must be.
function(tarnex_layering_tests)
  set(probes
      "BaseCannotSeeCore|tarnex_base|core/context.h|fail"
      "PlatformCannotSeeCore|tarnex_platform|core/profile.h|fail"
      "PlatformCannotSeeAProvider|tarnex_platform|platform/native/native_files.h|fail"
      "SubsystemCannotSeeTheOrchestration|tarnex_rules|core/app.h|fail"
      "SubsystemCannotSeeAnotherItDoesNotUse|tarnex_bandwidth|monitorlink/listeners.h|fail"
      "SubsystemSeesTheCoreServices|tarnex_rules|core/context.h|pass"
      "SubsystemSeesTheSubsystemItUses|tarnex_rules|counters/catalogue.h|pass")
  foreach(probe ${probes})
    string(REPLACE "|" ";" parts ${probe})
    list(GET parts 0 test)
    list(GET parts 1 library)
    list(GET parts 2 header)
    list(GET parts 3 outcome)
    set(target layer_probe_${test})
    add_library(${target} OBJECT EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/tests/layering/probe.cpp)
    target_link_libraries(${target} PRIVATE ${library})
    target_compile_definitions(${target} PRIVATE TARNEX_PROBE_HEADER="${header}")
    add_test(NAME Layering.${test}
             COMMAND ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target ${target})
    if(outcome STREQUAL "fail")
      set_tests_properties(Layering.${test} PROPERTIES
                           PASS_REGULAR_EXPRESSION "${header}: No such file or directory")
    endif()
    set_tests_properties(Layering.${test} PROPERTIES RESOURCE_LOCK build_tree)
  endforeach()
endfunction()
