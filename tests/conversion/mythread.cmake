quirelle_add_test(tst_mythread
  SOURCES tst_mythread.cpp
  LIBRARIES quirelle_app)
