# Debian keeps manuals and changelogs compressed; without name and time the same text gives the same
# bytes.
function(tandrel_install_compressed source target folder)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/compressed/${target}.gz)
    add_custom_command(OUTPUT ${compressed}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/compressed
        COMMAND ${CMAKE_COMMAND} -E copy ${source} compressed/${target}
        COMMAND ${GZIP_PROGRAM} --best --no-name --force compressed/${target}
        DEPENDS ${source} WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} VERBATIM)
    add_custom_target(tandrel_compressed_${target} ALL DEPENDS ${compressed})
    add_dependencies(tandrel_package_files tandrel_compressed_${target})
    install(FILES ${compressed} DESTINATION ${folder})
endfunction()

# All that a package needs to be built, apart from the program.
add_custom_target(tandrel_package_files)
add_dependencies(tandrel_package_files tandrel_icons)

tandrel_install_compressed(${CMAKE_CURRENT_BINARY_DIR}/quorvane-tandrel.1 quorvane-tandrel.1
    ${CMAKE_INSTALL_MANDIR}/man1)
