# How this project's libraries, programs and tests are built: language level, warnings, strict Qt defines and sanitizers.

set(PELK_SANITIZE "" CACHE STRING "Sanitizers to build with, in the form of -fsanitize=")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}")
add_link_options(-Wl,--as-needed)

if(PELK_SANITIZE)
    add_compile_options(-fsanitize=${PELK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${PELK_SANITIZE})
    if(PELK_SANITIZE MATCHES thread)
        add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-include${CMAKE_SOURCE_DIR}/tests/support/qtraces/sharedcount.h>")
    endif()
else()
    # Not under a sanitizer, where shared libraries take its run time from the program that loads them.
    add_link_options(-Wl,--no-undefined)
endif()

# Precompiled headers are used only in the build with Clang. In the builds with GCC, a missing include in `src/` is therefore
# an error.
set(PELK_SHARED_HEADERS OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(PELK_SHARED_HEADERS ON)
    # ccache stores a precompiled header only if it contains no time stamps.
    add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
endif()

# pelk_share_headers(TARGET NAME HEADER OPTIONS LIBRARY...): precompiles HEADER once, with OPTIONS and those of the libraries, and
# uses it in the target. All use -pthread, because some libraries add it and others do not.
function(pelk_share_headers target name header options)
    if(NOT TARGET ${name})
        set(source "${CMAKE_BINARY_DIR}/generated/${name}.cpp")
        file(CONFIGURE OUTPUT "${source}" CONTENT "")
        add_library(${name} OBJECT "${source}")
        pelk_warnings(${name})
        target_compile_options(${name} PRIVATE -pthread ${options})
        target_link_libraries(${name} PRIVATE ${ARGN})
        target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
        target_precompile_headers(${name} PRIVATE ${header})
        set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    endif()
    target_compile_options(${target} PRIVATE -pthread ${options})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # Clang does not treat macros of a precompiled header as those of a system header, so QSKIP("text") would cause a warning.
        target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
    endif()
    target_precompile_headers(${target} REUSE_FROM ${name})
endfunction()

# Flags of this project's targets; dependencies do not get them.
function(pelk_flags target)
    pelk_warnings(${target})
    # Not for programs: their code is compiled with other options for addresses (PIE) than libraries (PIC).
    get_target_property(type ${target} TYPE)
    if(PELK_SHARED_HEADERS AND NOT type STREQUAL "EXECUTABLE")
        pelk_share_headers(${target} pelk_core_headers <QtCore> "" Qt5::Core)
    endif()
endfunction()

function(pelk_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-qual
        -Wold-style-cast -Wformat=2 -Werror)
    # Assertions are specified behaviour and stay on in release builds.
    target_compile_definitions(${target} PRIVATE QT_FORCE_ASSERTS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
        QT_NO_KEYWORDS QT_NO_FOREACH QT_NO_URL_CAST_FROM_STRING QT_NO_CAST_FROM_BYTEARRAY
        QT_DEPRECATED_WARNINGS)
    target_include_directories(${target} PRIVATE "${CMAKE_SOURCE_DIR}/src")
endfunction()

# pelk_sdk_library(NAME EXPORT_MACRO EXPORTED_NAME SOURCES...): adds a shared library of the SDK. The macro marks exported symbols;
# the generated header api/<folder>/export.h defines it. Modules link the library as Pelk::<exported name>.
function(pelk_sdk_library name macro exported)
    add_library(${name} SHARED ${ARGN})
    pelk_flags(${name})
    file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
    include(GenerateExportHeader)
    generate_export_header(${name} EXPORT_MACRO_NAME ${macro}
        EXPORT_FILE_NAME "${CMAKE_BINARY_DIR}/generated/${folder}/export.h")
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/src>
        $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/generated> $<INSTALL_INTERFACE:${PELK_INCLUDE_DIR}>)
    target_link_libraries(${name} PUBLIC Qt5::Core)
    pelk_install_sdk_library(${name} ${exported})
endfunction()

# pelk_records(TARGET MACRO SCHEMA...): generates the record, enumeration and path headers of schema/*.yaml into
# the target, under the target's own folder of the generated tree.
function(pelk_records target macro)
    file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
    set(generator "${CMAKE_SOURCE_DIR}/src/api/types/generator/generate.py")
    set(out "${CMAKE_BINARY_DIR}/generated/${folder}")
    file(GLOB templates CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/api/types/generator/*.j2")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${generator} ${templates} ${ARGN})
    set(command ${Python3_EXECUTABLE} ${generator} --out ${out} --folder ${folder} --macro ${macro})
    if(NOT folder STREQUAL "api/types")
        # Records may contain records of the type library.
        file(GLOB known CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/api/types/schema/*.yaml")
        list(APPEND command --known ${known} --)
    endif()
    list(APPEND command ${ARGN})
    list(INSERT command 2 --list)
    execute_process(COMMAND ${command} OUTPUT_VARIABLE files COMMAND_ERROR_IS_FATAL ANY
        OUTPUT_STRIP_TRAILING_WHITESPACE WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
    string(REPLACE "\n" ";" files "${files}")
    list(REMOVE_AT command 2)
    add_custom_command(OUTPUT ${files} COMMAND ${command} DEPENDS ${generator} ${templates} ${ARGN}
        WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" COMMENT "Generating records of ${folder}" VERBATIM)
    set_source_files_properties(${files} PROPERTIES SKIP_AUTOMOC ON)
    target_sources(${target} PRIVATE ${files})
endfunction()

# The environment of every test, in addition to its own home.
set(PELK_TEST_ENVIRONMENT "PYTHONUNBUFFERED=1;LC_ALL=C.UTF-8;QT_HASH_SEED=0;http_proxy=;https_proxy=;no_proxy=*;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0;UBSAN_OPTIONS=print_stacktrace=1;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/tsan.supp:second_deadlock_stack=1:history_size=4:io_sync=0")
# The factor by which time-outs are extended under an emulator.
set(PELK_TEST_SLOWDOWN 1)
if(CMAKE_CROSSCOMPILING)
    # Prevents GStreamer from looking for plug-ins with a separate program, which would not run under the emulator.
    string(APPEND PELK_TEST_ENVIRONMENT ";PELK_TEST_EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR};GST_REGISTRY_FORK=no")
    set(PELK_TEST_SLOWDOWN 10)
endif()

# Build the tests that run under ThreadSanitizer, by label: `threads` for synchronisation that it knows, run in every full test;
# `qtthreads` for threads that synchronise through Qt. In both, tests/support/qtraces reports Qt's synchronisation to it.
add_custom_target(threads)
add_custom_target(qtthreads)

# pelk_moc(TARGET SOURCE): runs moc on SOURCE, which must include SOURCE.moc and be the target's only file with a Q_OBJECT. Unlike
# AUTOMOC, this adds no source to compile.
function(pelk_moc target source)
    get_filename_component(base "${source}" NAME_WE)
    get_filename_component(source "${source}" ABSOLUTE)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/moc")
    file(MAKE_DIRECTORY "${folder}")
    add_custom_command(OUTPUT "${folder}/${base}.moc" COMMAND Qt5::moc "${source}" -o "${folder}/${base}.moc"
        DEPENDS "${source}" COMMENT "" VERBATIM)
    target_sources(${target} PRIVATE "${folder}/${base}.moc")
    target_include_directories(${target} PRIVATE "${folder}")
    set_target_properties(${target} PROPERTIES AUTOMOC OFF)
endfunction()

# pelk_test(NAME SOURCE... LIBRARIES lib... [LABELS label...] [TIMEOUT s] [COST s] [LONG_TIMEOUT s] [EACH_FUNCTION]): adds a Qt
# Test program, which CTest runs in a scratch home with a time-out.
#   COST           the usual duration; tests with the highest cost start first
#   EACH_FUNCTION  runs the functions as parallel processes, for tests that wait for real time and whose functions share nothing
#   LONG_TIMEOUT   also registers the program as NAME_long, with the label "long" and PELK_TEST_LONG=1 in its environment: the same
#                  test with larger figures
function(pelk_test name)
    cmake_parse_arguments(arg "EACH_FUNCTION" "TIMEOUT;LONG_TIMEOUT;COST" "LIBRARIES;LABELS" ${ARGN})
    add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
    pelk_warnings(${name})
    # Tests are compiled more often than they run, so they are not optimised.
    set(first_header "${CMAKE_SOURCE_DIR}/tests/support/everytest.h")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        pelk_share_headers(${name} pelk_test_headers "${first_header}" "-O0;-g1" Qt5::Test Qt5::Network)
    else()
        # Not precompiled: after a change of the header, the compiler cache would still return the old precompiled header.
        target_compile_options(${name} PRIVATE -O0 -g1 "SHELL:-include ${first_header}")
    endif()
    if(CMAKE_CROSSCOMPILING)
        target_link_libraries(${name} PRIVATE pelk_test_emulated)
    else()
        target_link_options(${name} PRIVATE -fuse-ld=lld) # takes less than half the time of GNU's linker
    endif()
    list(GET arg_UNPARSED_ARGUMENTS 0 source)
    pelk_moc(${name} "${source}")
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE Qt5::Test Qt5::Network ${arg_LIBRARIES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    list(APPEND arg_LABELS ${PELK_TEST_LABELS}) # of all tests of the folder
    set(environment "")
    foreach(label threads qtthreads)
        if(label IN_LIST arg_LABELS)
            add_dependencies(${label} ${name})
            if(PELK_SANITIZE MATCHES thread)
                set(environment "LD_PRELOAD=$<TARGET_FILE:pelk_qtraces>;")
                add_dependencies(${name} pelk_qtraces)
            endif()
        endif()
    endforeach()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    set(command ${name} -maxwarnings 0)
    if(arg_EACH_FUNCTION AND NOT CMAKE_CROSSCOMPILING)
        set(command ${Python3_EXECUTABLE} "${CMAKE_SOURCE_DIR}/tests/support/each_function.py" "$<TARGET_FILE:${name}>")
    endif()
    pelk_register_test(${name} "${command}" ${arg_TIMEOUT} "${environment}" "${arg_LABELS}")
    if(arg_COST)
        set_tests_properties(${name} PROPERTIES COST ${arg_COST})
    endif()
    if(arg_LONG_TIMEOUT)
        pelk_register_test(${name}_long "${name};-maxwarnings;0" ${arg_LONG_TIMEOUT} "PELK_TEST_LONG=1;" "long")
    endif()
endfunction()

function(pelk_register_test test command timeout environment labels)
    math(EXPR timeout "${timeout} * ${PELK_TEST_SLOWDOWN}")
    add_test(NAME ${test} COMMAND ${command})
    set(home "${CMAKE_BINARY_DIR}/tests/home/${test}")
    file(MAKE_DIRECTORY "${home}")
    set_tests_properties(${test} PROPERTIES TIMEOUT ${timeout} LABELS "${labels}" ENVIRONMENT
        "${environment}HOME=${home};XDG_CONFIG_HOME=${home}/config;XDG_STATE_HOME=${home}/state;XDG_CACHE_HOME=${home}/cache;XDG_RUNTIME_DIR=;${PELK_TEST_ENVIRONMENT}")
endfunction()
