# Precompiled headers for the whole tree, each compiled once: what most files include, and that with JSON;
# the tests have a third. A target takes one with saverestore_precompiled(TARGET KIND).
# They save time and decide nothing: every file includes what it uses, which the preset `release`
# sees to by going without.
set(SAVERESTORE_STANDARD_HEADERS
  <algorithm> <array> <charconv> <chrono> <cstdint> <cstdio> <cstdlib> <filesystem> <fstream> <functional>
  <map> <memory> <optional> <set> <span> <sstream> <string> <string_view> <unordered_map> <utility> <vector>)

function(saverestore_precompiled_header kind)
  set(source ${PROJECT_BINARY_DIR}/precompiled/${kind}.cpp)
  if(NOT EXISTS ${source})
    file(WRITE ${source} "")
  endif()
  add_library(saverestore_precompiled_${kind} OBJECT EXCLUDE_FROM_ALL ${source})
  target_compile_features(saverestore_precompiled_${kind} PRIVATE cxx_std_20)
  target_link_libraries(saverestore_precompiled_${kind} PRIVATE saverestore_flags)
  target_precompile_headers(saverestore_precompiled_${kind} PRIVATE ${ARGN})
endfunction()

saverestore_precompiled_header(standard ${SAVERESTORE_STANDARD_HEADERS})
saverestore_precompiled_header(json ${SAVERESTORE_STANDARD_HEADERS} <nlohmann/json.hpp>)

function(saverestore_precompiled target kind)
  target_precompile_headers(${target} REUSE_FROM saverestore_precompiled_${kind})
endfunction()
