# What the tool, the back ends and programs of others share is one library, libsaverestore.so, so that its
# singletons exist once in a process. With SAVERESTORE_STATIC each folder is a static library instead.
if(NOT SAVERESTORE_STATIC)
  # Everything alike, programs too, so that all can share the precompiled headers.
  add_compile_options(-fPIC -fno-semantic-interposition -fvisibility-inlines-hidden)
  set(CMAKE_LINK_DEPENDS_NO_SHARED ON)
  add_library(saverestore_core SHARED)
  add_library(saverestore::core ALIAS saverestore_core)
  target_compile_features(saverestore_core PUBLIC cxx_std_20)
  target_link_options(saverestore_core PRIVATE
    -Wl,--as-needed -Wl,-Bsymbolic-functions -Wl,--no-undefined)
  set_target_properties(saverestore_core PROPERTIES
    OUTPUT_NAME saverestore EXPORT_NAME core LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  install(TARGETS saverestore_core EXPORT saverestore
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tool NAMELINK_COMPONENT dev)
endif()

function(saverestore_includes target scope)
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/saverestore>)
  target_compile_features(${target} ${scope} cxx_std_20)
endfunction()

# saverestore_library(NAME [APART] SOURCES … [PUBLIC …] [PRIVATE …] [INCLUDES …]) makes a folder of src known as
# saverestore::NAME, with the common flags and its place in the installed package. It is a part of
# libsaverestore.so, or, with APART, a static library for a back end, in the package's component NAME.
function(saverestore_library name)
  cmake_parse_arguments(ARG "APART" "" "SOURCES;PUBLIC;PRIVATE;INCLUDES" ${ARGN})
  set(target saverestore_${name})
  set(libraries ${ARG_PUBLIC} ${ARG_PRIVATE})
  if("nlohmann_json::nlohmann_json" IN_LIST libraries)
    set(headers json)
  else()
    set(headers standard)
  endif()
  set(export saverestore)
  if(ARG_APART)
    set(export saverestore-${name})
  endif()
  if(SAVERESTORE_STATIC OR ARG_APART)
    add_library(${target} STATIC ${ARG_SOURCES})
    saverestore_includes(${target} PUBLIC)
    target_link_libraries(${target}
      PUBLIC ${ARG_PUBLIC}
      PRIVATE ${ARG_PRIVATE} $<BUILD_INTERFACE:saverestore_flags>)
    target_include_directories(${target} SYSTEM PRIVATE ${ARG_INCLUDES})
    saverestore_precompiled(${target} ${headers})
  else()
    list(FILTER libraries EXCLUDE REGEX "^saverestore::")  # they are parts of the same library
    add_library(${target}_objects OBJECT ${ARG_SOURCES})
    saverestore_includes(${target}_objects PUBLIC)
    target_link_libraries(${target}_objects PRIVATE ${libraries} saverestore_flags)
    target_include_directories(${target}_objects SYSTEM PRIVATE ${ARG_INCLUDES})
    saverestore_precompiled(${target}_objects ${headers})
    target_sources(saverestore_core PRIVATE $<TARGET_OBJECTS:${target}_objects>)
    target_link_libraries(saverestore_core PRIVATE ${libraries})
    add_library(${target} INTERFACE)
    saverestore_includes(${target} INTERFACE)
    target_link_libraries(${target} INTERFACE saverestore_core ${ARG_PUBLIC})
  endif()
  add_library(saverestore::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT ${export}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
  if(ARG_APART)
    install(EXPORT ${export} NAMESPACE saverestore:: FILE ${export}.cmake
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/saverestore COMPONENT dev)
  endif()
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/saverestore/${folder} COMPONENT dev
    FILES_MATCHING PATTERN "*.h")
endfunction()
