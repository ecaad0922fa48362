# Run by CPack after it has installed each package's files and before it packs them:
# Debian wants manual pages gzip-compressed at the highest level, without a time stamp.
file(GLOB_RECURSE pavo_staged_files "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(page IN LISTS pavo_staged_files)
  if(page MATCHES "/share/man/man[0-9]/[^/]+$" AND NOT page MATCHES "\\.gz$")
    execute_process(COMMAND gzip -9nf "${page}" RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "gzip failed on ${page}")
    endif()
  endif()
endforeach()
