# Writes OUT from IN with the version and the commit of the checkout, unless they are unchanged. Runs at each build:
# cmake -DVERSION=... -DSOURCE=... -DIN=... -DOUT=... -P PelkVersion.cmake
set(PELK_VERSION "${VERSION}")
execute_process(COMMAND git -C "${SOURCE}" rev-parse --short HEAD OUTPUT_VARIABLE commit RESULT_VARIABLE result
    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(result EQUAL 0)
    string(APPEND PELK_VERSION " (${commit})")
endif()
configure_file("${IN}" "${OUT}" @ONLY)
