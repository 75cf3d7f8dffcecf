quirelle_add_test(tst_settingdialog
  SOURCES tst_settingdialog.cpp
  LIBRARIES quirelle_app)
