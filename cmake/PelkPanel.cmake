# Building and testing the panel with Node.
find_program(PELK_NODE node)
if(NOT PELK_NODE)
    message(FATAL_ERROR "Building the panel needs Node; run scripts/setup to install it.")
endif()

# The panel of this build, where `pelk serve` looks for it: next to the programs.
set(PELK_PANEL_DIR "${CMAKE_BINARY_DIR}/share/pelk/panel")

# pelk_panel_test(NAME FILE... [LABELS label...] [TIMEOUT s] [COST s] [PROCESSORS n] [ENVIRONMENT name=value...]): runs test
# files of the panel with Vitest, in a scratch home with a time-out. PROCESSORS: how many of CTest's parallel jobs it counts as.
function(pelk_panel_test name)
    cmake_parse_arguments(arg "" "TIMEOUT;COST;PROCESSORS" "LABELS;ENVIRONMENT" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    list(TRANSFORM arg_UNPARSED_ARGUMENTS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    add_test(NAME ${name} COMMAND "${PELK_NODE}" "${CMAKE_SOURCE_DIR}/node_modules/vitest/vitest.mjs" run
        ${arg_UNPARSED_ARGUMENTS} WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
    set(home "${CMAKE_BINARY_DIR}/tests/home/${name}")
    file(MAKE_DIRECTORY "${home}")
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT
        "HOME=${home};NO_COLOR=1;${arg_ENVIRONMENT};${PELK_TEST_ENVIRONMENT}")
    if(arg_COST)
        set_tests_properties(${name} PROPERTIES COST ${arg_COST})
    endif()
    if(arg_PROCESSORS)
        set_tests_properties(${name} PROPERTIES PROCESSORS ${arg_PROCESSORS})
    endif()
endfunction()
