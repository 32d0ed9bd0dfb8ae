#include "diag/result_names.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "diag/name_tables.h"

namespace vantor::test {
namespace {

std::string Named(std::uint32_t code) { return LookupResultName(static_cast<HRESULT>(code)); }

TEST(ResultNames, ResultsAreFoundByTheirWholeCode) {
  EXPECT_EQ(Named(0), "S_OK");
  EXPECT_EQ(Named(1), "S_FALSE");
  EXPECT_EQ(Named(0x80004005), "E_FAIL");
  EXPECT_EQ(Named(0x80050013), "VXAV_E_INVALID_DATA");
  EXPECT_EQ(Named(0x80050061), "VXAV_E_TOO_MANY_CONVERSIONS - Too many color space conversions");
  EXPECT_EQ(Named(0x80070002), "HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)");
  EXPECT_EQ(Named(0xC00D003C), "NS_E_INVALID_STREAM - The specified stream does not exist.");
  EXPECT_EQ(Named(0xFEDCBA98), "E_ABORTED_BY_DOWNSTREAM_FILTER");
}

TEST(ResultNames, ResultWithoutANameIsItsNumber) {
  EXPECT_EQ(Named(0x12345678), "0x12345678");
  EXPECT_EQ(Named(0x0000000B), "0x0000000B");
  EXPECT_EQ(Named(0x80004006), "0x80004006");
  EXPECT_EQ(Named(0x8005EFFF), "0x8005EFFF");
  EXPECT_EQ(Named(0x80060000), "0x80060000");
  EXPECT_EQ(Named(0xFEDCBA99), "0xFEDCBA99");
  EXPECT_EQ(Named(0xFFFFFFFF), "0xFFFFFFFF");
}

TEST(ResultNames, NetworkErrorsAreFoundByTheirLowHalf) {
  EXPECT_EQ(Named(0x80072714), "WSAEINTR = A blocking operation was interrupted by a call to WSACancelBlockingCall");
  EXPECT_EQ(Named(0x80072733), "WSAEWOULDBLOCK = A non-blocking socket operation could not be completed immediately");
  EXPECT_EQ(Named(0x80072B17),
            "WSA_QOS_RESERVED_PETYPE = A reserved policy element was found in the QOS provider-specific buffer");
}

TEST(ResultNames, UnknownNetworkErrorTellsItsNumberTwice) {
  EXPECT_EQ(Named(0x80072EDF), "Unknown Winsock error (11999=0x00002EDF)");
  EXPECT_EQ(Named(0x80072710), "Unknown Winsock error (10000=0x00002710)");
  EXPECT_EQ(Named(0x80072715), "Unknown Winsock error (10005=0x00002715)");
  EXPECT_EQ(Named(0x80072B18), "Unknown Winsock error (11032=0x00002B18)");
}

TEST(ResultNames, SystemErrorsBesideTheNetworksAreNumbers) {
  EXPECT_EQ(Named(0x8007270F), "0x8007270F");
  EXPECT_EQ(Named(0x80072EE0), "0x80072EE0");
}

TEST(ResultNames, RasterErrorsAreCountedDownFromTheFirst) {
  EXPECT_EQ(Named(0x8005F000), "Vantor Raster Error (0)");
  EXPECT_EQ(Named(0x8005F001), "Vantor Raster Error (-1)");
  EXPECT_EQ(Named(0x8005F005), "Vantor Raster Error (-5)");
  EXPECT_EQ(Named(0x8005FFFF), "Vantor Raster Error (-4095)");
}

TEST(ResultNames, WithoutTheMasterSwitchEveryNameIsEmpty) {
  for (const HRESULT code : {S_OK, E_FAIL, static_cast<HRESULT>(0x80072714), static_cast<HRESULT>(0x12345678)}) {
    EXPECT_STREQ(ResultName(code, 0x10), "");
    EXPECT_STREQ(ResultName(code, 0xFFFFFFF7), "");
  }
  EXPECT_STREQ(ResultName(E_FAIL, 0x08), "E_FAIL");
}

TEST(ResultNames, ThisBuildNamesResultsIfItTraces) {
  EXPECT_STREQ(ResultName(E_FAIL), (kTraceFlags & 0x08) != 0 ? "E_FAIL" : "");
}

TEST(ResultNames, EventsAndMessagesHaveNamesToo) {
  EXPECT_STREQ(LookupEventName(EC_COMPLETE), "EC_COMPLETE");
  EXPECT_STREQ(LookupEventName(EC_ERRORABORT), "EC_ERRORABORT");
  EXPECT_STREQ(LookupEventName(0x11B), "EC_DVD_KARAOKE_MODE");
  EXPECT_STREQ(LookupEventName(0x8001), "0x00008001");
  EXPECT_STREQ(LookupMessageName(0), "WM_NULL");
  EXPECT_STREQ(LookupMessageName(0x0F), "WM_PAINT");
  EXPECT_STREQ(LookupMessageName(0x400), "0x00000400");
}

TEST(ResultNames, ThreadsDoNotOverwriteEachOthersNumbers) {
  const char* ours = LookupResultName(0x12345678);
  std::thread([] { EXPECT_STREQ(LookupResultName(0x11111111), "0x11111111"); }).join();
  EXPECT_STREQ(ours, "0x12345678");
}

// ---- The search ----

TEST(ResultNames, EveryRowThatStandsInOrderIsFound) {
  for (const auto rows : {ResultNameRows(), WinsockNameRows(), EventNameRows(), MessageNameRows()}) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::size_t below = 0;
      std::size_t above = 0;
      std::size_t equal = 0;
      for (std::size_t k = 0; k < rows.size(); ++k) {
        if (rows[k].code == rows[i].code) ++equal;
        if (k < i && rows[k].code > rows[i].code) ++above;
        if (k > i && rows[k].code < rows[i].code) ++below;
      }
      if (below + above > 0 || equal > 1) continue;
      // Rows out of order may hide others where the search meets them; those of the tables hide none but themselves.
      EXPECT_STREQ(FindName(rows, rows[i].code), rows[i].text);
    }
  }
}

// Which row the search meets follows from the table's order and length alone.
TEST(ResultNames, CodesThatTwoRowsShareGiveTheRowThatTheSearchMeets) {
  EXPECT_EQ(Named(0x80050042), "VXAV_E_NO_MEDIA - No media handler is available.");
  EXPECT_EQ(Named(0x00050024), "VXAV_S_DVR_WAITING");
}

TEST(ResultNames, RowsOutOfOrderAreFoundOnlyWhereTheSearchMeetsThem) {
  EXPECT_EQ(Named(0x00050055), "0x00050055");
  EXPECT_EQ(Named(0x00050048),
            "VXAV_S_RESPONSE_PENDING - The response to the RTSP command has been sent or will be sent later.");
}

TEST(ResultNames, BisectionFindsEveryRowOfTablesOfEveryLength) {
  for (std::uint32_t length = 0; length < 20; ++length) {
    std::vector<NameRow> rows;
    for (std::uint32_t i = 0; i < length; ++i) rows.push_back({10 + 2 * i, "row"});
    for (std::uint32_t code = 0; code < 10 + 2 * length + 3; ++code) {
      const bool there = code >= 10 && code < 10 + 2 * length && code % 2 == 0;
      EXPECT_EQ(FindName(rows, code) != nullptr, there) << length << " rows, code " << code;
    }
  }
}

}  // namespace
}  // namespace vantor::test
