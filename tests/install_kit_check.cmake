# The installed developer's kit: the pavo command with its page and completion,
# and with PAVO_BUILD_DOCS the man page of every function and the HTML reference.
if(TARGET pavo-cli)
  set(kit_files share/man/man1/pavo.1 share/bash-completion/completions/pavo)
  if(PAVO_BUILD_DOCS)
    list(APPEND kit_files share/man/man3/pavo_login.3 share/man/man3/pavo.h.3
         ${CMAKE_INSTALL_DOCDIR}/html/index.html)
  endif()
  add_test(NAME InstalledKitHasCommandAndPages
           COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check_kit.sh ${PROJECT_BINARY_DIR} ${kit_files})
  set_tests_properties(InstalledKitHasCommandAndPages PROPERTIES LABELS install TIMEOUT 300)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " runner)
    set_tests_properties(InstalledKitHasCommandAndPages PROPERTIES ENVIRONMENT
                         "PAVO_CHECK_RUN=${runner}")
  endif()
endif()
