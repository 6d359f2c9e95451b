set(documents ${CMAKE_INSTALL_DATADIR}/doc/quorvane-tandrel)
tandrel_install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog changelog ${documents})
install(FILES debian/copyright DESTINATION ${documents})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorvane-tandrel)
set(CPACK_PACKAGE_VENDOR Quorvane)
set(CPACK_PACKAGE_CONTACT "Quorvane <tandrel@quorvane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "stream the microphone to a live session")
set(CPACK_PACKAGE_HOMEPAGE_URL ${TANDREL_SITE_BASE_URL})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION non-free/sound)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PACKAGE_DESCRIPTION
"Quorvane Tandrel lives in the system tray of the desktop. One signs in once;
when a session is started in the web app, it streams the microphone there
until one stops. The web app can start and stop it by links, too.")

# The libraries that the program is linked with are found by dpkg-shlibdeps; these it uses at run
# time: the authorities by which it knows its backend, the icon theme that its own icons belong to,
# the library that checks the signatures of updates, and the command that opens pages.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, hicolor-icon-theme, libssl3, xdg-utils")

# It runs without: signs in anew each time without a keyring, starts twice without a session bus,
# looks foreign without the desktop's theme, and has nothing to stream without a sound server.
string(JOIN ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "default-dbus-session-bus | dbus-session-bus"
    "gnome-keyring | kwalletmanager | keepassxc"
    "pipewire-pulse | pulseaudio"
    "qt6-gtk-platformtheme | qt6-xdgdesktopportal-platformtheme"
    "qt6-wayland")

# The proxies of the desktop's settings, for GNOME and for KDE.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libproxy1-plugin-gsettings, libproxy1-plugin-kconfig")

include(CPack)
