quirelle_add_test(tst_mythread
  SOURCES tst_mythread.cpp
  LIBRARIES quirelle_app
  ENVIRONMENT "TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/../tsan.supp")
