# Installs BUILD_DIR below WORK_DIR, builds products against it, and runs what came out.
include(${CMAKE_CURRENT_LIST_DIR}/UsePackage.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
use_by_cmake(${WORK_DIR}/prefix ${WORK_DIR}/build)
if(TOOLS)
  run(${WORK_DIR}/prefix/bin/ostrel-inspect json ${CMAKE_CURRENT_LIST_DIR}/../examples/data/settings.json)
endif()

# What runs needs nothing of what builds.
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/runtime --component Runtime)
file(GLOB_RECURSE files RELATIVE ${WORK_DIR}/runtime ${WORK_DIR}/runtime/*)
list(SORT files)
string(REGEX MATCH "^[0-9]+" major ${VERSION})
if(NOT files STREQUAL "${LIBRARY_DIR}/libostrel.so.${VERSION};${LIBRARY_DIR}/libostrel.so.${major}")
  if(NOT files STREQUAL "${LIBRARY_DIR}/libostrel.so.${major};${LIBRARY_DIR}/libostrel.so.${VERSION}")
    message(FATAL_ERROR "the Runtime component holds ${files}")
  endif()
endif()

set(ENV{DESTDIR} ${WORK_DIR}/sysroot)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /usr)
unset(ENV{DESTDIR})
use_by_pkgconfig(${WORK_DIR}/sysroot ${WORK_DIR}/product_pkgconfig)
