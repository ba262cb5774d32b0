sd_fuzz_target(NAME slp_filter_fuzz SOURCES slp_filter_fuzz.cpp LIBS slp CORPUS slp_filter_corpus)
sd_fuzz_target(NAME slp_url_fuzz SOURCES slp_url_fuzz.cpp LIBS slp CORPUS slp_url_corpus)
