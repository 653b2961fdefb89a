// The public header compiles as C99 (c_header.c) and links from C.
#include <gtest/gtest.h>

extern "C" int kest_c_header_probe(void);

TEST(PublicHeader, CompilesAndLinksAsC) { EXPECT_EQ(kest_c_header_probe(), 15); }
