# Copies the first half of INPUT to OUTPUT: cmake -DINPUT=... -DOUTPUT=... -P truncate.cmake
file(SIZE ${INPUT} size)
math(EXPR half "${size} / 2")
execute_process(COMMAND head -c ${half} ${INPUT} OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "could not copy the first ${half} bytes of ${INPUT}")
endif()
