sd_test(
  NAME slp_shell_test
  SOURCES ConnectionsTest.cpp DirectoryAgentFinderTest.cpp DirectoryAgentRegistrarTest.cpp DirectoryAgentServiceTest.cpp
          FakeDirectoryAgent.cpp GroupListTest.cpp NetworkViewTest.cpp PortClientTest.cpp PortServerTest.cpp
          ServiceAgentTest.cpp ToldRegistrationsTest.cpp
  LIBS slp own_network)
