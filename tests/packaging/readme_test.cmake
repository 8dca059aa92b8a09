# README must show EXAMPLE word for word, without its leading comment.
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(REGEX REPLACE "^(//[^\n]*\n)+" "" example "${example}")
string(FIND "${readme}" "${example}" position)
if(position EQUAL -1)
    message(FATAL_ERROR "${README} doesn't show ${EXAMPLE} as it is")
endif()
