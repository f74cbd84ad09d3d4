# Writes the keywords of the scanner's rules, every rule of the form
#   (?i:WORD)   { return CODE; }
# as lines KEYWORD("word", CODE) for the scanner's word lookup, so that the rules stay the
# only list of keywords.
#   cmake -DRULES=<sql.l> -DOUT=<file> -P keywords.cmake
file(STRINGS ${RULES} lines REGEX "^\\(\\?i:[A-Za-z]+\\)[ \t]+{ *return [A-Z_]+; *}")
set(out "// Generated from ${RULES}: the keyword rules, in rule order.\n")
set(count 0)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^\\(\\?i:([A-Za-z]+)\\).*return ([A-Z_]+);.*$" "\\1;\\2" parts "${line}")
  list(GET parts 0 word)
  list(GET parts 1 code)
  string(TOLOWER "${word}" word)
  string(APPEND out "KEYWORD(\"${word}\", ${code})\n")
  math(EXPR count "${count} + 1")
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "${RULES}: no keyword rules found")
endif()
file(WRITE ${OUT}.tmp "${out}")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUT}.tmp)
