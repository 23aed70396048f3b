// A plug-in for the tests of the dynamic library linker.

extern "C" int fs_test_plugin_answer() { return 42; }
