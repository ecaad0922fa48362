# The binding's tests use the package's own fixtures (pavo_sim, pavo_library, pavo_session).
pytest_plugins = ["pavo.pytest_plugin"]
