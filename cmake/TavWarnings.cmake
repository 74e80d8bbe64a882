# Warning flags shared by every target of the project.
function(tav_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
  if(TAV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
