# What is installed, and the Debian packages that CPack makes of it: libcaldane (the libraries), libcaldane-dev
# (headers, CMake and pkg-config files, the IDL compiler) and caldane-tools (programs for users, the examples).
include(CMakePackageConfigHelpers)

install(TARGETS caldane soap_transport EXPORT caldaneTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS secprov LIBRARY COMPONENT runtime)
foreach(part pelthread vqsys rusk caldane)
  install(DIRECTORY platform/${part}/include/ TYPE INCLUDE COMPONENT dev)
endforeach()
install(DIRECTORY include/ TYPE INCLUDE COMPONENT dev)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/caldane)
configure_package_config_file(cmake/caldaneConfig.cmake.in ${PROJECT_BINARY_DIR}/caldaneConfig.cmake
                              INSTALL_DESTINATION ${config_folder} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/caldaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(EXPORT caldaneTargets NAMESPACE caldane:: DESTINATION ${config_folder} COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/caldaneConfig.cmake ${PROJECT_BINARY_DIR}/caldaneConfigVersion.cmake
              cmake/CaldaneIdl.cmake
        DESTINATION ${config_folder} COMPONENT dev)

# pkg-config files tell their folder's place, so that the whole can be moved.
file(RELATIVE_PATH PKG_CONFIG_UP /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" PKG_CONFIG_UP ${PKG_CONFIG_UP})
foreach(name caldane soap_transport)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endforeach()

install(PROGRAMS idl/caldane-idl TYPE BIN COMPONENT dev)
install(DIRECTORY idl/caldane_backend idl/caldane_idl DESTINATION ${CMAKE_INSTALL_DATADIR}/caldane/idl COMPONENT dev
        FILES_MATCHING PATTERN "*.py" PATTERN "*.idl")
install(FILES docs/man/caldane-idl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT dev)
install(FILES tools/completion/caldane-idl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT dev)

install(TARGETS soapcall soap_tap bank_server bank_client interop_server interop_client RUNTIME COMPONENT tools)
install(PROGRAMS tools/caldane_cert/caldane_cert TYPE BIN COMPONENT tools)
foreach(page soapcall soap_tap caldane_cert)
  install(FILES docs/man/${page}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endforeach()
install(FILES tools/completion/soapcall DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)
install(FILES examples/bank/bank.idl examples/interop/interop.idl examples/interop/shapes.idl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/caldane/examples COMPONENT tools)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME caldane)
set(CPACK_PACKAGE_CONTACT "The caldane founders <caldane@caldane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Object request broker whose calls travel as SOAP 1.1")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libcaldane${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Broker, SOAP transport and security provider, as shared libraries.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libcaldane-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libcaldane${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), omniidl, python3")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers, CMake and pkg-config files, and the IDL compiler.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME caldane-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libcaldane${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "libcaldane-dev, openssl")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Command line client, message viewer, certificate maker, example programs.")
include(CPack)
