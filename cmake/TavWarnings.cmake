# Warning flags shared by every target of the project.
function(tav_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
  # GCC 12 reports std::optional<std::string> members as "maybe uninitialized" at -O1 (the sanitizer
  # build) where they cannot be; the warning stays on for clang and is not an error for GCC.
  # GCC 12's object-size warnings misfire inside the standard library's inlined string code (a
  # memchr "bound exceeding the maximum object size" in std::string::find). Standard headers normally
  # hide them, but not when they come from a precompiled header, so they are warnings, not errors.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-error=maybe-uninitialized -Wno-error=stringop-overread
      -Wno-error=stringop-overflow -Wno-error=array-bounds -Wno-error=restrict)
  endif()
  if(TAV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
