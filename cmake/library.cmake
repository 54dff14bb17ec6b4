# The shared and the static library from the one set of objects, and their installation.

add_library(orvimg32 SHARED $<TARGET_OBJECTS:orv_objects>)
add_library(orvimg32_static STATIC $<TARGET_OBJECTS:orv_objects>)
set_target_properties(orvimg32 PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1)
target_link_options(orvimg32 PRIVATE -static-libgcc -Wl,--as-needed -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
set_target_properties(orvimg32 PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
if(NOT ORV_SANITIZE)  # clang leaves the sanitizers' runtime to the program
    target_link_options(orvimg32 PRIVATE -Wl,--no-undefined)
endif()
set_target_properties(orvimg32_static PROPERTIES OUTPUT_NAME orvimg32)
foreach(target orvimg32 orvimg32_static)
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
add_library(OrvImg32::orvimg32 ALIAS orvimg32)

# The library with its internals in sight, for tests, benchmarks and fuzz targets.
add_library(orv_internal INTERFACE)
target_include_directories(orv_internal INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(orv_internal INTERFACE orvimg32_static)
