# saverestore_library(NAME SOURCES … [PUBLIC …] [PRIVATE …]) makes one static library per folder of
# src, with the alias saverestore::NAME, the common flags, and its place in the installed package.
function(saverestore_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  set(target saverestore_${name})
  add_library(${target} STATIC ${ARG_SOURCES})
  add_library(saverestore::${name} ALIAS ${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/saverestore>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target}
    PUBLIC ${ARG_PUBLIC}
    PRIVATE ${ARG_PRIVATE} $<BUILD_INTERFACE:saverestore_flags>)
  if("nlohmann_json::nlohmann_json" IN_LIST ARG_PUBLIC OR "nlohmann_json::nlohmann_json" IN_LIST ARG_PRIVATE)
    saverestore_precompiled(${target} json)
  else()
    saverestore_precompiled(${target} standard)
  endif()
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT saverestore ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/saverestore/${folder}
    FILES_MATCHING PATTERN "*.h")
endfunction()
