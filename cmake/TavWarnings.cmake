# Warning flags shared by every target of the project.
function(tav_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
  # GCC 12 reports std::optional<std::string> members as "maybe uninitialized" at -O1 (the sanitizer
  # build) where they cannot be; the warning stays on for clang and is not an error for GCC.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-error=maybe-uninitialized)
  endif()
  if(TAV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
