# The browser editor: the serve subcommand's libraries, the page bundled with esbuild, its tests.
find_package(nlohmann_json 3 REQUIRED)
pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
target_link_libraries(quorin PRIVATE nlohmann_json::nlohmann_json PkgConfig::HTTPLIB)
set(QUORIN_EDITOR_OUT ${CMAKE_BINARY_DIR}/editor)
target_compile_definitions(quorin PRIVATE QUORIN_EDITOR_DIR="${QUORIN_EDITOR_OUT}")

find_program(NPM_EXECUTABLE npm)
find_program(NODE_EXECUTABLE node)
set(EDITOR_SRC ${CMAKE_SOURCE_DIR}/editor)
if(NPM_EXECUTABLE AND NODE_EXECUTABLE)
  file(GLOB EDITOR_SOURCES CONFIGURE_DEPENDS ${EDITOR_SRC}/src/*)
  # npm ci installs exactly what package-lock.json names, into editor/node_modules.
  add_custom_command(
    OUTPUT ${CMAKE_BINARY_DIR}/editor-npm.stamp
    COMMAND ${NPM_EXECUTABLE} ci --no-audit --no-fund --ignore-scripts
    COMMAND ${CMAKE_COMMAND} -E touch ${CMAKE_BINARY_DIR}/editor-npm.stamp
    WORKING_DIRECTORY ${EDITOR_SRC}
    DEPENDS ${EDITOR_SRC}/package.json ${EDITOR_SRC}/package-lock.json
    COMMENT "Installing the editor's npm packages")
  add_custom_command(
    OUTPUT ${QUORIN_EDITOR_OUT}/editor.js
    COMMAND ${EDITOR_SRC}/node_modules/.bin/esbuild ${EDITOR_SRC}/src/main.js --bundle --minify
            --sourcemap --outfile=${QUORIN_EDITOR_OUT}/editor.js
    COMMAND ${CMAKE_COMMAND} -E copy ${EDITOR_SRC}/src/index.html ${EDITOR_SRC}/src/editor.css
            ${EDITOR_SRC}/node_modules/litegraph.js/css/litegraph.css ${QUORIN_EDITOR_OUT}
    DEPENDS ${EDITOR_SOURCES} ${CMAKE_BINARY_DIR}/editor-npm.stamp
    COMMENT "Bundling the editor page")
  add_custom_target(quorin_editor ALL DEPENDS ${QUORIN_EDITOR_OUT}/editor.js)
  add_dependencies(quorin quorin_editor)

  add_test(NAME editor_api
    COMMAND ${NODE_EXECUTABLE} ${EDITOR_SRC}/test/api_test.mjs $<TARGET_FILE:quorin>)
  find_program(CHROMIUM_EXECUTABLE NAMES chromium chromium-browser)
  if(CHROMIUM_EXECUTABLE)
    add_test(NAME editor_browser
      COMMAND ${NODE_EXECUTABLE} ${EDITOR_SRC}/test/browser_test.mjs $<TARGET_FILE:quorin>
              ${CHROMIUM_EXECUTABLE} ${CMAKE_SOURCE_DIR}/examples ${CMAKE_BINARY_DIR}/editor-test-artefacts)
    set_tests_properties(editor_browser PROPERTIES TIMEOUT 120)
  endif()
  set_tests_properties(editor_api PROPERTIES TIMEOUT 60)
endif()
