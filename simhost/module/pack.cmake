# A compressed file alone, as distributions ship their modules: no archive around it.
file(ARCHIVE_CREATE OUTPUT ${PACKED} PATHS ${FILE} FORMAT raw COMPRESSION ${METHOD})
