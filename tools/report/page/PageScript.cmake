# What puts a page of the program together.

# The text of a script library, without the line that names its source map.
function(read_without_source_map file result)
  file(READ "${file}" text)
  string(REGEX REPLACE "\n[^\n]*sourceMappingURL=[^\n]*" "" text "${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# page_script(<result> <library> <module file>...): one script of a library and the modules, which are given in the
# order in which they need each other. The import lines of the modules and the word `export` fall away.
function(page_script result library)
  read_without_source_map("${library}" script)
  string(APPEND script "\n(function () {\n\"use strict\";\n")
  foreach(module IN LISTS ARGN)
    file(READ "${module}" text)
    string(REGEX REPLACE "\nimport [^\n]*" "" text "\n${text}")
    string(REPLACE "\nexport " "\n" text "${text}")
    string(APPEND script "${text}")
  endforeach()
  string(APPEND script "})();\n")
  set(${result} "${script}" PARENT_SCOPE)
endfunction()
