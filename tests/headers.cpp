// Holds nothing: the headers that the suites share are compiled for it, see CMakeLists.txt.
