# The mutator that knows elements, as a library: the fuzz targets link with it, and so do its own tests in any build.
if(NOT TARGET vantor_mutator)
  set(mutator_sources element_tree element_mutator index_repair known_elements payload_maker)
  list(TRANSFORM mutator_sources PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
  list(TRANSFORM mutator_sources APPEND .cpp)
  add_library(vantor_mutator STATIC ${mutator_sources})
  target_include_directories(vantor_mutator PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
endif()
