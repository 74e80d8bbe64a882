# Most of a translation unit's compile time here goes into parsing the same standard, Boost.JSON and fmt
# headers again; a target precompiles them once. Only third-party headers are listed: our own change
# too often, and every source and public header still includes what it uses (check-install compiles each
# installed header on its own, without these). -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON turns this off.
set(TAV_COMMON_PRECOMPILED_HEADERS
  <algorithm> <atomic> <chrono> <cstdint> <filesystem> <functional> <map> <memory> <mutex> <optional>
  <sstream> <string> <string_view> <vector>
  <boost/json/array.hpp> <boost/json/object.hpp> <boost/json/value.hpp> <fmt/format.h>)

# tav_precompile_common_headers(TARGET [HEADER ...]): the common headers, and the target's own heavy ones.
function(tav_precompile_common_headers target)
  target_precompile_headers(${target} PRIVATE ${TAV_COMMON_PRECOMPILED_HEADERS} ${ARGN})
endfunction()
