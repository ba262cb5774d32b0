sd_fuzz_target(NAME slp_message_fuzz SOURCES slp_message_fuzz.cpp LIBS slp CORPUS slp_message_corpus)
