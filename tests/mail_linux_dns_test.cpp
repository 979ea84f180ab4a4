// The Linux host's DNS server for the mail form: the first nameserver of
// /etc/resolv.conf, and the error of a file that cannot be read.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/linux/linux_platform.h"
#include "platform/linux/proc_text.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

TEST(MailLinuxDns, TheFirstNameserverLineGivesTheAddress) {
  EXPECT_EQ(FirstNameserver("# generated\nsearch example.org\n  nameserver\t10.0.0.2  \n"
                            "nameserver 10.0.0.3\n"),
            "10.0.0.2");
  EXPECT_EQ(FirstNameserver("search a\noptions ndots:1\n"), "");
  EXPECT_EQ(FirstNameserver("#nameserver 1.1.1.1\n;nameserver 2.2.2.2\nnameserver 3.3.3.3"),
            "3.3.3.3");
  EXPECT_EQ(FirstNameserver("nameserver 2001:db8:1234:5678::53\n"), "2001:db8:1234:5");
  EXPECT_EQ(FirstNameserver("nameservers 1.2.3.4\n"), "");
}

TEST(MailLinuxDns, TheHostReadsResolvConfBelowItsRoot) {
  const std::string dir = MakeTempDir();
  LinuxOptions options;
  options.app_path = dir + "/app";
  options.root = dir + "/root";
  std::filesystem::create_directories(options.root + "/etc");
  std::filesystem::create_directories(options.app_path);
  LinuxPlatform host(options);
  std::string address = "old";
  EXPECT_EQ(host.DnsServer(address), 2) << "no file";
  WriteFile(options.root + "/etc/resolv.conf", "domain lan\r\nnameserver 192.168.1.1\r\n");
  EXPECT_EQ(host.DnsServer(address), 0);
  EXPECT_EQ(address, "192.168.1.1");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
