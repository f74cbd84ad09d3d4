# Writes the oracle scanner's flex file: the prologue, the definitions and rules of the
# scanner's rule file (from the line after its "%}" to the "%%" that ends its rules), and
# the epilogue.
#   cmake -DRULES=<sql.l> -DPROLOGUE=<file> -DEPILOGUE=<file> -DOUT=<file> -P make_oracle.cmake
file(READ ${RULES} rules)
string(FIND "${rules}" "\n%}\n" code_end)
string(FIND "${rules}" "\n%%\n" rules_start)
if(code_end LESS 0 OR rules_start LESS code_end)
  message(FATAL_ERROR "${RULES}: no \"%}\" line before the rules")
endif()
math(EXPR body_start "${code_end} + 4")
math(EXPR after_start "${rules_start} + 4")
string(SUBSTRING "${rules}" ${after_start} -1 rest)
string(FIND "${rest}" "\n%%\n" rules_length)
if(rules_length LESS 0)
  message(FATAL_ERROR "${RULES}: no \"%%\" line after the rules")
endif()
math(EXPR body_length "${after_start} + ${rules_length} + 1 - ${body_start}")
string(SUBSTRING "${rules}" ${body_start} ${body_length} body)
file(READ ${PROLOGUE} prologue)
file(READ ${EPILOGUE} epilogue)
file(WRITE ${OUT}.tmp "${prologue}${body}${epilogue}")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUT}.tmp)
