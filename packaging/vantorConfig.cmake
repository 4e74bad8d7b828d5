# find_package(vantor) gives the target vantor::vantor.
include(${CMAKE_CURRENT_LIST_DIR}/vantorTargets.cmake)
