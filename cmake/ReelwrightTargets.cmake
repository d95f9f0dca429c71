# Compiler switches shared by every target of the project, and the functions that make them.

add_library(reelwright_options INTERFACE)
target_compile_options(reelwright_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wcast-qual
    -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wformat=2 -Wundef -Wmissing-declarations
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>)
if(REELWRIGHT_WERROR)
    target_compile_options(reelwright_options INTERFACE -Werror)
    # What these say depends on the optimizer, and GCC 12 guesses wrongly about optionals and texts: they warn only.
    target_compile_options(reelwright_options INTERFACE "$<$<CXX_COMPILER_ID:GNU>:-Wno-error=maybe-uninitialized;-Wno-error=stringop-overflow;-Wno-error=array-bounds;-Wno-error=restrict;-Wno-error=dangling-pointer>")
endif()
if(REELWRIGHT_SANITIZE)
    # Every library has to be instrumented alike, so these are set for the whole build.
    add_compile_options(-fsanitize=${REELWRIGHT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${REELWRIGHT_SANITIZE})
    # Instrumented code makes GCC guess wrongly about what is initialized; the other builds keep the warning.
    target_compile_options(reelwright_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(REELWRIGHT_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The headers that nearly every source takes in are compiled once for all layers; with them read anew for each source half
# of a build went by. Every source still includes what it uses.
option(REELWRIGHT_PRECOMPILE "Compile common headers once" ON)
set(REELWRIGHT_COMMON_HEADERS <algorithm> <array> <chrono> <cstdint> <filesystem> <functional> <map> <memory> <mutex>
    <optional> <span> <string> <string_view> <thread> <vector> <fmt/format.h> <tl/expected.hpp>)

set(REELWRIGHT_QT_HEADERS <QAbstractTableModel> <QAction> <QApplication> <QComboBox> <QHeaderView> <QLabel> <QMainWindow>
    <QMenu> <QPainter> <QPointer> <QStyledItemDelegate> <QTableView> <QTimer> <QVBoxLayout>)

# reelwright_own_precompile(TARGET HEADERS...): compiles the common headers and these for the target.
function(reelwright_own_precompile target)
    if(REELWRIGHT_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${REELWRIGHT_COMMON_HEADERS} ${ARGN})
    endif()
endfunction()

# reelwright_precompiled_program(NAME HEADERS...): a program that does nothing but give its compiled headers to others. Headers
# are compiled in the way of the target that uses them, and programs are compiled otherwise than libraries.
function(reelwright_precompiled_program name)
    if(REELWRIGHT_PRECOMPILE)
        file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "int main() { }\n")
        add_executable(${name} ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
        target_precompile_headers(${name} PRIVATE ${REELWRIGHT_COMMON_HEADERS} ${ARGN})
    endif()
endfunction()

# reelwright_precompile(TARGET LIKE): lets a target use the compiled headers of another one.
function(reelwright_precompile target like)
    if(REELWRIGHT_PRECOMPILE AND TARGET ${like})
        target_precompile_headers(${target} REUSE_FROM ${like})
    endif()
endfunction()

# reelwright_layer(NAME [EXCEPT regex] PUBLIC libs... PRIVATE libs...): the library of one layer: the sources of the folder of
# that name and of the rooms in it, without those whose path the expression matches. A folder without sources links what
# it is told to link.
function(reelwright_layer name)
    cmake_parse_arguments(ARG "" "EXCEPT" "PUBLIC;PRIVATE" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${name}/*.cpp ${PROJECT_SOURCE_DIR}/${name}/*.h)
    if(ARG_EXCEPT)
        list(FILTER sources EXCLUDE REGEX ${ARG_EXCEPT})
    endif()
    if(NOT sources)
        add_library(reelwright_${name} INTERFACE)
        target_link_libraries(reelwright_${name} INTERFACE ${ARG_PUBLIC})
        return()
    endif()
    add_library(reelwright_${name} STATIC ${sources})
    target_include_directories(reelwright_${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(reelwright_${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE} reelwright_options)
    if(name STREQUAL movie)
        reelwright_own_precompile(reelwright_movie)
    else()
        reelwright_precompile(reelwright_${name} reelwright_movie)
    endif()
endfunction()

# reelwright_test(NAME libs...): the test program of one folder below tests/.
function(reelwright_test name)
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp)
    if(NOT sources)
        return()
    endif()
    add_executable(test_${name} ${sources})
    target_link_libraries(test_${name} PRIVATE ${ARGN} reelwright_test_support GTest::gmock_main reelwright_options)
    # GCC 12 takes the backing array of an initializer list for uninitialized when it optimizes.
    target_compile_options(test_${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    reelwright_precompile(test_${name} reelwright_test_headers)
    gtest_discover_tests(test_${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
endfunction()
