/* A host written in plain C that shows its own screen through tavo.h, gets a start view from the web service at
 * argv[2], taps the start view's close button and reads the view tree. It prints the tree with the start view
 * ("tree-open: ...") and after the tap ("tree-closed: ...") and what its in-app listener heard, and writes a
 * screenshot to argv[3]; it exits 0 once the start view came and went. */

#include <stdio.h>
#include <string.h>

#include "tavo/tavo.h"

static void on_shown(const char* campaign_json, void* user_data) {
  (void)user_data;
  printf("listener: shown %s\n", campaign_json);
}

static void on_close(const char* campaign_json, void* user_data) {
  (void)user_data;
  printf("listener: closed %s\n", campaign_json);
}

/* Pumps the main loop, as a frame loop would, until the view tree holds (or lacks) text, or seconds pass. */
static int pump_until_tree(const char* text, int present, double seconds) {
  for (int i = 0; i < (int)(seconds * 100); ++i) {
    char* tree = tavo_platform_copy_view_tree_json();
    const int found = tree && strstr(tree, text) != NULL;
    tavo_free(tree);
    if (found == present) return 1;
    tavo_main_loop_run_for(0.01);
  }
  return 0;
}

static void print_tree(const char* label) {
  char* tree = tavo_platform_copy_view_tree_json();
  /* One line: the tree's own line breaks become blanks. */
  for (char* c = tree; c && *c; ++c)
    if (*c == '\n') *c = ' ';
  printf("%s: %s\n", label, tree ? tree : "null");
  tavo_free(tree);
}

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: tavo_c_inapp_host DATA_DIR BASE_URL SCREENSHOT_PNG\n");
    return 2;
  }
  tavo_platform_set_data_directory(argv[1]);
  tavo_platform_set_bundle_info("2.0", "200", "C In-App Host");

  tavo_configuration* cfg = tavo_configuration_new("CCLIENTAPP1KEY123456");
  tavo_configuration_set_url_base(cfg, argv[2]);
  tavo_configuration_set_queue_time(cfg, 1);
  tavo_start_session_with_configuration(cfg);
  tavo_configuration_free(cfg);
  for (int i = 0; i < 500 && !tavo_is_session_started(); ++i) tavo_main_loop_run_for(0.01);

  /* The app's first screen, once the SDK watches screens. */
  tavo_screen* home = tavo_screen_new("HomeScreen");
  tavo_screen_set_background_color(home, "#FFFFFF");
  tavo_screen_show(home);
  tavo_in_app_delegate listener = {on_shown, NULL, on_close, NULL, NULL, NULL};
  tavo_add_in_app_delegate(&listener);

  tavo_in_app_request* request = tavo_in_app_request_new(0);
  tavo_in_app_message(request);
  tavo_in_app_request_free(request);
  if (!pump_until_tree("\"pageTitle\"", 1, 5.0)) return 3;
  tavo_main_loop_run_for(0.5); /* the page slides in */
  print_tree("tree-open");
  if (!tavo_platform_write_screenshot_png(argv[3])) return 4;

  /* The close button: 35 x 35 points, 47 from the right edge, 5 under the top safe area (47 points). */
  tavo_platform_tap(390 - 47 + 17.5, 47 + 5 + 17.5);
  if (!pump_until_tree("TAVOStartViewPromotionViewController", 0, 2.0)) return 5;
  print_tree("tree-closed");
  tavo_main_loop_run_for(1.5); /* the impression goes with the next batch */
  tavo_screen_free(home);
  return 0;
}
