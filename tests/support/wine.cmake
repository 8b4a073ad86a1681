# Windows tests run under Wine in a prefix of the build's own, without a display.
set(QV_WINE_PREFIX "${PROJECT_BINARY_DIR}/wine")
set(QV_WINE_ENVIRONMENT
    "WINEPREFIX=${QV_WINE_PREFIX}" "WINEARCH=win64" "WINEDEBUG=-all" "DISPLAY=" "LC_ALL=C.UTF-8" "TZ=UTC"
    "WINEDLLOVERRIDES=mscoree=d\;mshtml=d\;winemenubuilder.exe=d\;winedbg.exe=d")

set(script "${CMAKE_CURRENT_LIST_DIR}/wine-prefix.sh")
add_test(NAME wine.start COMMAND bash ${script} start ${QV_WINE_PREFIX})
add_test(NAME wine.stop COMMAND bash ${script} stop ${QV_WINE_PREFIX})
set_tests_properties(wine.start PROPERTIES FIXTURES_SETUP wine TIMEOUT 180)
set_tests_properties(wine.stop PROPERTIES FIXTURES_CLEANUP wine TIMEOUT 60)
