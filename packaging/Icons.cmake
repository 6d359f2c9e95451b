# Icons for every theme: the drawing itself, symbolic ones that panels colour, and bitmaps for
# whoever cannot read drawings.
set(themes ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
set(drawing ${PROJECT_SOURCE_DIR}/Sources/TandrelStatusBar/Resources/ApplicationImage.svg)

install(FILES ${drawing} DESTINATION ${themes}/scalable/apps RENAME ${TANDREL_APP_ID}.svg)
install(FILES icons/${TANDREL_APP_ID}-symbolic.svg icons/${TANDREL_APP_ID}-streaming-symbolic.svg
    DESTINATION ${themes}/symbolic/apps)

set(bitmaps)
foreach(side IN ITEMS 16 22 24 32 48 64 128 256)
    set(bitmap ${CMAKE_CURRENT_BINARY_DIR}/icons/${side}.png)
    add_custom_command(OUTPUT ${bitmap}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/icons
        COMMAND ${RSVG_CONVERT_PROGRAM} --width ${side} --height ${side} --output ${bitmap} ${drawing}
        DEPENDS ${drawing} VERBATIM)
    install(FILES ${bitmap}
        DESTINATION ${themes}/${side}x${side}/apps RENAME ${TANDREL_APP_ID}.png)
    list(APPEND bitmaps ${bitmap})
endforeach()
add_custom_target(tandrel_icons ALL DEPENDS ${bitmaps})
