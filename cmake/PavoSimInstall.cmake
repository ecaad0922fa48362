# Installs the platform simulator so that it runs from an install or a package: the program
# in libexec, its data in share/pavo, and bin/pavo-platform-sim, which starts it with that
# data unless told otherwise. Component "tools" (the pavo-tools package).
if(TARGET pavo-platform-sim)
  set(pavo_sim_dir ${CMAKE_INSTALL_LIBEXECDIR}/pavo)
  set(pavo_simdata_dir ${CMAKE_INSTALL_DATADIR}/pavo/simdata)
  file(RELATIVE_PATH PAVO_SIM_FROM_BIN /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${pavo_sim_dir})
  file(RELATIVE_PATH PAVO_SIMDATA_FROM_BIN /prefix/${CMAKE_INSTALL_BINDIR}
       /prefix/${pavo_simdata_dir})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/pavo-platform-sim.in
                 ${PROJECT_BINARY_DIR}/packaging/pavo-platform-sim @ONLY)
  install(TARGETS pavo-platform-sim RUNTIME DESTINATION ${pavo_sim_dir} COMPONENT tools)
  install(PROGRAMS ${PROJECT_BINARY_DIR}/packaging/pavo-platform-sim
          DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/simdata/ DESTINATION ${pavo_simdata_dir}
          COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/pavo-platform-sim.1
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endif()
