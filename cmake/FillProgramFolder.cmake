# Copies the databases of folder FROM into folder TO where TO has none of the name.
foreach(name sys.mdb mtemplate.mdb)
    if(NOT EXISTS "${TO}/${name}")
        file(COPY "${FROM}/${name}" DESTINATION "${TO}")
    endif()
endforeach()
