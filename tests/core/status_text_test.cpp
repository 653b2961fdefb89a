// The status texts and the messages the automation object builds from them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/status_message.h"
#include "core/status_table.h"
#include "kestraster.h"

namespace {

struct StatusCase {
  int32_t status;
  const char *text;
};

// First, middle and last row of every family, and every text that ends
// with a blank; texts exactly as the system has always shown them.
const StatusCase kSample[] = {
    // General, files and image formats
    {0, "General failure"},
    {-21, "Invalid QFactor specified"},
    {-78, "Bad version number"},
    // Scanning through TWAIN, first range
    {-79, "TWAIN source manager not found"},
    {-85, "TWAIN unknown capability"},
    {-90, "TWAIN operation was cancelled"},
    // Windows and dialogs
    {-91, "PanWindow creation failed"},
    {-93, "TWAIN capability unsupported"},
    {-100, "User cancelled the operation"},
    // FlashPix
    {-101, "FlashPix Invalid FlashPix format"},
    {-118, "FlashPix The view is transformless"},
    {-134, "FlashPix OLE File I/O error"},
    // Tags, stamps and dialogs
    {-140, "Bad TIFF tag"},
    {-149, "An unspecified exception occured - could be memory access violations"},
    {-155, "The dialogs could not load the KDLGRES dll"},
    // ISIS scanning
    {-160, "ISIS No Scanner selected"},
    {-167, "ISIS Scanner driver error"},
    {-174, "ISIS No permission/access"},
    // Sound and video capture
    {-250, "Wave device is already recording"},
    {-256, "Not currently recording"},
    {-261, "Invalid handle"},
    // Network and streaming
    {-270, "Can't resolve host name"},
    {-286, "Transfer was aborted"},
    {-303, "Error deleting frames"},
    // Pages, undo and capture
    {-310, "Page not found"},
    {-328, "Invalid Line Style"},
    {-351, "There is nothing to do! - i.e. no files were found"},
    // Vector, MPEG and further formats
    {-353, "The KVECTK DLL is needed to use this function"},
    {-370, "Invalid horizontal display size"},
    {-381, "Invalid frame rate"},
    // Tags, undo and bar codes
    {-404, "Tag not found"},
    {-416, "Invalid bar code string for a specified bar code type"},
    {-431, "Barcode PDF417 symbol is found but cannot read successfully"},
    // Internet
    {-435, "NET - Out of Handles"},
    {-466, "NET - Force Retry"},
    {-497, "NET - No Open Request"},
    // Vector
    {-501, "Vector is empty"},
    {-510, "Bitmap is not found"},
    {-519, "Group already exists"},
    {-518, "Group is not found "},
    // JPEG 2000
    {-530, "JP2 Error in JP2 Box values"},
    {-535, "J2K File contains complete header but no compressed image data"},
    {-540, "J2K J2K file has image with more than 30 bits per component"},
    // TWAIN, second range
    {-560, "TWAIN Not Available"},
    {-573, "TWAIN Cannot Write To File"},
    {-586, "TWAIN The Device Has Been Powered Off"},
    // Container, toolbar, automation and layers
    {-630, "Container - Invalid Container"},
    {-691, "Automation - Invalid State"},
    {-706, "MRC - Invalid page"},
    // PDF
    {-721, "PDF - File is Encrypted"},
    {-726, "PDF - Could not Find Fonts Directory"},
    {-728, "PDF - File is corrupted"},
    // ISAPI
    {-740, "ISAPI - Config Not Found In Registry"},
    {-745, "ISAPI - Can't Save Bitmap in Database"},
    {-750, "ISAPI - Error On Cache System Settings in Registry"},
    // SVG
    {-770, "SVG - Invalid File Size Read"},
    {-776, "SVG - Invalid Attribute Value"},
    {-781, "SVG - Invalid String Comma"},
    // Colour space and others
    {-785, "ColorSpace - Invalid format"},
    {-801, "Bad JPEG marker"},
    {-816, "Something is wrong with the overlay index"},
    // Sibling libraries and TIFF
    {-900, "The KCLR DLL is not loaded"},
    {-912, "Invalid password"},
    {-916, "Not allowed to delete the Tiff file"},
    // Internal
    {-1050, "Internal error - call KEST"},
    {-1054, "Internal error - call KEST"},
    {-1058, "Internal error - call KEST"},
    // HTML and batch
    {-1100, "HTML operation was canceled"},
    {-1104, "Invalid output file path"},
    {-1107, "Invalid output directory name"},
    // Recognition engine
    {-1200, "ScanSoft DLLs are not loaded"},
    {-1264, "Checkmark recognition error"},
    {-1326, "can't set the specified page to be activated."},
    {-1202, "invalid fill method "},
    {-1313, "There was a WARNING during the output file conversion "},
    {-1314, "Operation cancelled "},
    // COM data
    {-1350, "Invalid Variant type"},
    {-1351, "Invalid string value"},
    {-1352, "Invalid dispatch"},
};

// Every status the library names has the text that goes with its number.
const StatusCase kNamed[] = {
    {K_FAILURE, "General failure"},
    {K_ERR_NOMEMORY, "Not enough memory available"},
    {K_ERR_BITMAP, "Invalid bitmap handle"},
    {K_ERR_SEEK, "Error seeking to position"},
    {K_ERR_WRITE, "Error writing file"},
    {K_ERR_READ, "Error reading file"},
    {K_ERR_WIDTH_HEIGHT, "Invalid width/height"},
    {K_ERR_PARAMETER, "Invalid parameter passed"},
    {K_ERR_BITS, "Invalid bits/pixel"},
    {K_ERR_NO_DISPATCH, nullptr},
    {K_ERR_USER_ABORT, "User cancelled the operation"},
    {K_ERR_DISK_FULL, "Not enough disk space"},
    {K_ERR_NO_HOTKEY, "There is no hotkey"},
    {K_ERR_HOTKEY_WINDOW, "Error creating the hotkey window"},
    {K_ERR_NO_FILTER_C, nullptr},
    {K_ERR_NO_FILTER_F, nullptr},
    {K_ERR_RECORD_SIZE, "Invalid structure size"},
    {K_ERR_NULL_POINTER, "A NULL pointer was passed"},
};

// The signed-bitmap status, which has no text.
constexpr int32_t kSignedBitmap = -1360;

TEST(StatusText, SampleOfEveryFamily) {
  ASSERT_GE(std::size(kSample), 60u);
  for (const StatusCase &c : kSample) {
    const char *text = K_GetStatusText(c.status);
    ASSERT_NE(text, nullptr) << c.status;
    EXPECT_STREQ(text, c.text) << c.status;
  }
}

TEST(StatusText, NamedStatuses) {
  for (const StatusCase &c : kNamed) {
    if (c.text == nullptr) {
      EXPECT_EQ(K_GetStatusText(c.status), nullptr) << c.status;
    } else {
      EXPECT_STREQ(K_GetStatusText(c.status), c.text) << c.status;
    }
  }
}

TEST(StatusText, NumbersWithoutText) {
  // Success and positive numbers, gaps between rows, and past the table.
  const int32_t none[] = {K_SUCCESS, 2, 13, -20, K_ERR_NO_DISPATCH, K_ERR_NO_FILTER_C,
                          K_ERR_NO_FILTER_F, kSignedBitmap, -(K_STATUS_TEXT_COUNT - 1),
                          -K_STATUS_TEXT_COUNT, INT32_MIN};
  for (int32_t status : none) EXPECT_EQ(K_GetStatusText(status), nullptr) << status;
}

TEST(StatusText, TableHoldsEveryRowOnce) {
  EXPECT_EQ(kest::kStatusTextCount, 1362);
  // 584 statuses have a text; the rest of the 1,362 entries are empty.
  int withText = 0;
  for (int32_t status = 0; status > -K_STATUS_TEXT_COUNT; --status) {
    if (const char *text = K_GetStatusText(status)) {
      ++withText;
      EXPECT_GT(std::strlen(text), 0u) << status;
    }
  }
  EXPECT_EQ(withText, 584);
  EXPECT_EQ(kest::StatusTextRows(), 584);
}

TEST(StatusMessage, CodesAndMessages) {
  struct Case {
    int32_t status;
    int32_t code;
    const char *message;
  };
  const Case cases[] = {
      {K_SUCCESS, 0, ""},
      {K_FAILURE, 20000, "KEST Error: General failure"},
      {K_ERR_PARAMETER, 20013, "KEST Error: Invalid parameter passed"},
      {K_ERR_USER_ABORT, 20100, "KEST Error: User cancelled the operation"},
      {-518, 20518, "KEST Error: Group is not found "},
      {-1352, 21352, "KEST Error: Invalid dispatch"},
      {K_ERR_NO_DISPATCH, 20030, "KEST Error: Internal Error 20030 - call KEST"},
      {kSignedBitmap, 21360, "KEST Error: Internal Error 21360 - call KEST"},
      {-K_STATUS_TEXT_COUNT, 21362, "KEST Error: Internal Error 21362 - call KEST"},
      {2, 19998, "KEST Error: Internal Error 19998 - call KEST"},
  };
  for (const Case &c : cases) {
    char message[128];
    std::memset(message, 'x', sizeof(message));
    EXPECT_EQ(kest::FormatStatusMessage(c.status, message, sizeof(message)), c.code) << c.status;
    EXPECT_STREQ(message, c.message) << c.status;
  }
}

TEST(StatusMessage, ShortBufferIsCutAndTerminated) {
  char message[12];
  std::memset(message, 'x', sizeof(message));
  EXPECT_EQ(kest::FormatStatusMessage(K_ERR_BITMAP, message, sizeof(message)), 20002);
  EXPECT_EQ(std::string(message), "KEST Error:");
  EXPECT_EQ(kest::FormatStatusMessage(K_ERR_BITMAP, nullptr, 0), 20002);
}

}  // namespace
