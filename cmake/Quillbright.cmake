# How every target of the project is built, and the shorthand the feature folders use.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()

add_compile_definitions(QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(QUILLBRIGHT_WERROR)
    add_compile_options(-Werror)
endif()
if(QUILLBRIGHT_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# qb_library(NAME SOURCES file... LINKS target...)
# A static library whose headers are seen only by the targets that link it.
function(qb_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC Qt6::Core ${ARG_LINKS})
endfunction()

# qb_ui_library(NAME SOURCES file... LINKS target...)
# The same for a folder's windows: Qt Designer forms and Widgets.
function(qb_ui_library name)
    qb_library(${name} ${ARGN})
    set_target_properties(${name} PROPERTIES AUTOUIC ON)
    target_link_libraries(${name} PUBLIC Qt6::Widgets)
endfunction()

# qb_test(NAME SOURCES file... LINKS target...)
# One Qt Test executable per subject, run offscreen by ctest.
function(qb_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LINKS})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 240 ENVIRONMENT
        "QT_QPA_PLATFORM=offscreen;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()
