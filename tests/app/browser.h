// A browser without a window, to see pages as their readers do.
#ifndef VOMO_TESTS_APP_BROWSER_H
#define VOMO_TESTS_APP_BROWSER_H

#include <cairo.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "program.h"

namespace app_test {

struct View {
  int width, height;
  bool dark = false;
};

class Browser {
 public:
  explicit Browser(fs::path folder) : folder_(std::move(folder)) {}
  ~Browser() { fs::remove_all(folder_ / "profile"); }

  // The document after its scripts have run.
  std::string Dom(const std::string &page) {
    EXPECT_EQ(Run("--dump-dom", {1280, 900}, page, "dom.html"), 0) << Messages();
    return Contents(folder_ / "dom.html");
  }

  // What the page wrote to the console, line by line; errors of its scripts among it.
  std::string Console() const {
    std::stringstream lines(Messages());
    std::string console;
    for (std::string line; std::getline(lines, line);) {
      if (line.find("CONSOLE") != std::string::npos) console += line + "\n";
    }
    return console;
  }

  fs::path Screenshot(const std::string &page, const View &view) {
    const fs::path picture = folder_ / "view.png";
    EXPECT_EQ(Run("--screenshot=" + picture.string(), view, page, "out"), 0) << Messages();
    return picture;
  }

 private:
  std::string Messages() const { return Contents(folder_ / "browser.err"); }

  int Run(const std::string &action, const View &view, const std::string &page, const char *out) {
    const std::string command =
        "timeout 300 " VOMO_BROWSER
        " --headless --no-sandbox --disable-gpu --hide-scrollbars --disable-dev-shm-usage"
        " --enable-logging=stderr --virtual-time-budget=20000 --force-device-scale-factor=1"
        " --user-data-dir='" +
        (folder_ / "profile").string() + "' --window-size=" + std::to_string(view.width) + "," +
        std::to_string(view.height) +
        (view.dark ? " --force-dark-mode --blink-settings=preferredColorScheme=0 " : " ") + action +
        " 'file://" + page + "' >'" + (folder_ / out).string() + "' 2>'" +
        (folder_ / "browser.err").string() + "'";
    return std::system(command.c_str());
  }

  fs::path folder_;
};

// The pixels of a picture.
class Picture {
 public:
  explicit Picture(const fs::path &path)
      : surface_(cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy) {}
  int width() const { return cairo_image_surface_get_width(surface_.get()); }
  int height() const { return cairo_image_surface_get_height(surface_.get()); }
  // 0xRRGGBB
  uint32_t At(int x, int y) const {
    const unsigned char *line = cairo_image_surface_get_data(surface_.get()) +
                                y * cairo_image_surface_get_stride(surface_.get());
    uint32_t pixel;
    std::memcpy(&pixel, line + 4 * x, sizeof pixel);
    return pixel & 0xffffff;
  }

 private:
  std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> surface_;
};

}  // namespace app_test

#endif
