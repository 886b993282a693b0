# Builds the project in SOURCE_DIR, which adds ours to its own, in WORK_DIR, and runs what came out.
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR} -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=)
run(${CMAKE_COMMAND} --build ${WORK_DIR})
run(${WORK_DIR}/read_setting)
if(NOT output STREQUAL "gateway.local:8080\n")
  message(FATAL_ERROR "read_setting says: ${output}")
endif()
