# The browser tests (web/): the engine built with emscripten (make web) and driven in headless
# Chromium through playwright-core, each compared with the native engine where it can be. Included
# from CMakeLists.txt when testing. Each test reports itself skipped when emscripten, Chromium or the
# npm packages (npm ci --prefix web) are missing; the sanitizer build has nothing to add here.
if(VIREO_SANITIZE)
  return()
endif()
find_program(NODE_EXECUTABLE node)
set(WEB_TESTS uci go stop isready bench api page pack failure)
if(NOT NODE_EXECUTABLE)
  add_test(NAME Web.node COMMAND sh -c "echo 'SKIPPED: the browser tests need node (Debian: apt-get install nodejs)'; exit 77")
  set_tests_properties(Web.node PROPERTIES SKIP_RETURN_CODE 77 LABELS e2e)
  return()
endif()
# The build is a test of its own, which the others need: a fresh clone builds web/dist/ here.
add_test(NAME Web.build COMMAND sh ${CMAKE_SOURCE_DIR}/web/tests/build.sh ${CMAKE_SOURCE_DIR})
set_tests_properties(Web.build PROPERTIES SKIP_RETURN_CODE 77 FIXTURES_SETUP web_dist TIMEOUT 900 LABELS e2e)
foreach(test ${WEB_TESTS})
  add_test(NAME Web.${test}
           COMMAND ${NODE_EXECUTABLE} ${CMAKE_SOURCE_DIR}/web/tests/run.mjs ${test}
                   --native $<TARGET_FILE:vireo> --out ${CMAKE_BINARY_DIR}/web-tests)
  # Alone, like the other timed tests: the half-second answers must not wait for a neighbour's CPU.
  set_tests_properties(Web.${test} PROPERTIES SKIP_RETURN_CODE 77 FIXTURES_REQUIRED web_dist
                       RUN_SERIAL TRUE TIMEOUT 300 LABELS e2e)
endforeach()

# The package as users meet it (web/tests/package.mjs): packed and installed into the consumer
# applications once, then built by each bundler and opened in Chromium, compiled by tsc, run in Node
# and as the command-line engine. They need web/tests/consumers/node_modules (npm ci there).
add_test(NAME Web.package.install
         COMMAND ${NODE_EXECUTABLE} ${CMAKE_SOURCE_DIR}/web/tests/package.mjs install --out ${CMAKE_BINARY_DIR}/web-tests)
set_tests_properties(Web.package.install PROPERTIES SKIP_RETURN_CODE 77 FIXTURES_REQUIRED web_dist
                     FIXTURES_SETUP web_package TIMEOUT 300 LABELS e2e)
foreach(test vite webpack esbuild types node bin)
  add_test(NAME Web.package.${test}
           COMMAND ${NODE_EXECUTABLE} ${CMAKE_SOURCE_DIR}/web/tests/package.mjs ${test}
                   --native $<TARGET_FILE:vireo> --out ${CMAKE_BINARY_DIR}/web-tests)
  set_tests_properties(Web.package.${test} PROPERTIES SKIP_RETURN_CODE 77 FIXTURES_REQUIRED "web_dist;web_package"
                       RESOURCE_LOCK web_consumers TIMEOUT 300 LABELS e2e)
endforeach()

# Prettier and ESLint over the JavaScript, like CodeFormat over the C++.
add_test(NAME Web.lint COMMAND sh ${CMAKE_SOURCE_DIR}/web/tests/lint.sh ${CMAKE_SOURCE_DIR})
set_tests_properties(Web.lint PROPERTIES SKIP_RETURN_CODE 77 LABELS unit)

# The page as players use it: play (results, keys, clocks, offline, hostile links, the level picker),
# analysis (a game analysed from its link, the graph, the explanation against the native "debug"),
# and the playing levels' move choice with the native engine.
foreach(page page-play page-analysis)
  add_test(NAME Web.${page}
           COMMAND ${NODE_EXECUTABLE} ${CMAKE_SOURCE_DIR}/web/tests/${page}.mjs all
                   --native $<TARGET_FILE:vireo> --out ${CMAKE_BINARY_DIR}/web-tests)
  set_tests_properties(Web.${page} PROPERTIES SKIP_RETURN_CODE 77 FIXTURES_REQUIRED web_dist
                       RUN_SERIAL TRUE TIMEOUT 600 LABELS e2e)
endforeach()
add_test(NAME Web.levels COMMAND ${NODE_EXECUTABLE} ${CMAKE_SOURCE_DIR}/web/tests/levels.test.mjs --native $<TARGET_FILE:vireo>)
set_tests_properties(Web.levels PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 900 LABELS e2e)
