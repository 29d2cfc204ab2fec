set(ZEVA_WARNING_FLAGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wno-unused-parameter)
if(ZEVA_WERROR)
  list(APPEND ZEVA_WARNING_FLAGS -Werror)
endif()

# Applies the project's warning set to one of its own targets.
function(zeva_warnings target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:${ZEVA_WARNING_FLAGS}>
    $<$<COMPILE_LANGUAGE:C>:-Wall -Wextra $<$<BOOL:${ZEVA_WERROR}>:-Werror>>)
endfunction()
