# The GNUstep peer (gnustep_peer.m), built with GNUstep's own flags when
# gnustep-config and an Objective-C compiler are present; without them the
# interop tests skip with a message.
find_program(ZEVA_GNUSTEP_CONFIG gnustep-config)
find_program(ZEVA_OBJC_COMPILER NAMES gcc)
set(ZEVA_GNUSTEP_PEER "")
if(ZEVA_GNUSTEP_CONFIG AND ZEVA_OBJC_COMPILER)
  execute_process(COMMAND ${ZEVA_GNUSTEP_CONFIG} --objc-flags OUTPUT_VARIABLE objc_flags
                  OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE objc_flags_status)
  execute_process(COMMAND ${ZEVA_GNUSTEP_CONFIG} --base-libs OUTPUT_VARIABLE objc_libs
                  OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE objc_libs_status)
  # A compiler without Objective-C support (no gobjc) fails this check.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/objc_probe.m "#import <Foundation/Foundation.h>\nint main(void) { return [NSObject class] == nil; }\n")
  separate_arguments(objc_flags UNIX_COMMAND "${objc_flags}")
  separate_arguments(objc_libs UNIX_COMMAND "${objc_libs}")
  list(REMOVE_ITEM objc_flags -MMD -MP)
  if(objc_flags_status EQUAL 0 AND objc_libs_status EQUAL 0)
    execute_process(COMMAND ${ZEVA_OBJC_COMPILER} ${objc_flags} -std=gnu11 ${CMAKE_CURRENT_BINARY_DIR}/objc_probe.m
                            -o ${CMAKE_CURRENT_BINARY_DIR}/objc_probe ${objc_libs}
                    RESULT_VARIABLE objc_probe_status OUTPUT_QUIET ERROR_QUIET)
  endif()
  if(objc_probe_status EQUAL 0)
    set(ZEVA_GNUSTEP_PEER ${CMAKE_CURRENT_BINARY_DIR}/gnustep_peer)
    add_custom_command(OUTPUT ${ZEVA_GNUSTEP_PEER}
                       COMMAND ${ZEVA_OBJC_COMPILER} ${objc_flags} -std=gnu11 -Werror ${dir}/gnustep_peer.m
                               -o ${ZEVA_GNUSTEP_PEER} ${objc_libs}
                       DEPENDS ${dir}/gnustep_peer.m VERBATIM)
    add_custom_target(zeva_gnustep_peer DEPENDS ${ZEVA_GNUSTEP_PEER})
    list(APPEND ZEVA_TEST_DEPENDS zeva_gnustep_peer)
  endif()
endif()
if(NOT ZEVA_GNUSTEP_PEER)
  message(STATUS "GNUstep not found: the GNUstep interop tests will skip")
endif()
list(APPEND ZEVA_TEST_DEFINITIONS ZEVA_GNUSTEP_PEER="${ZEVA_GNUSTEP_PEER}")
