# Copies the Python package to where Debian's interpreters look, with the entry point of its pytest plugin.
set(python_folder lib/python3/dist-packages)
set(python_info ${PROJECT_BINARY_DIR}/python/orvane-${library_version}.dist-info)
file(WRITE ${python_info}/METADATA "Metadata-Version: 2.1
Name: orvane
Version: ${library_version}
Summary: Virtual clocks for processes, users and groups, and for the tests that live by them
Requires-Python: >=3.9
")
file(WRITE ${python_info}/entry_points.txt "[pytest11]\norvane = orvane.pytest_plugin\n")
install(DIRECTORY python/orvane DESTINATION ${python_folder} COMPONENT python
        PATTERN __pycache__ EXCLUDE)
install(DIRECTORY ${python_info} DESTINATION ${python_folder} COMPONENT python)
