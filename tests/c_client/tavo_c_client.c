/* A host written in plain C: it includes only tavo/tavo.h and links libtavo. It starts a session against the
 * web service at argv[2], tracks an event, logs a user in and sends an order, pumping the main loop as a
 * host's frame loop would, then prints what its delegate heard and exits 0 once the session was started. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tavo/tavo.h"

static int started_calls = 0;
static int success_calls = 0;

static void on_started(const char* id, void* user_data) {
  (void)user_data;
  ++started_calls;
  printf("delegate: started %s\n", id);
}

static void on_success(const char* id, bool contains_data, void* user_data) {
  (void)user_data;
  ++success_calls;
  printf("delegate: success %s data=%d\n", id, contains_data ? 1 : 0);
}

static void pump_until_started(double seconds) {
  for (int i = 0; i < (int)(seconds * 100) && !tavo_is_session_started(); ++i) tavo_main_loop_run_for(0.01);
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: tavo_c_client DATA_DIR BASE_URL\n");
    return 2;
  }
  tavo_platform_set_data_directory(argv[1]);
  tavo_platform_set_bundle_info("2.0", "200", "C Client");

  tavo_configuration* cfg = tavo_configuration_new("CCLIENTAPP1KEY123456");
  tavo_configuration_set_url_base(cfg, argv[2]);
  tavo_configuration_set_queue_time(cfg, 1);
  tavo_start_session_with_configuration(cfg);
  tavo_configuration_free(cfg);
  pump_until_started(5.0);
  printf("session started: %d\n", tavo_is_session_started() ? 1 : 0);

  tavo_event_request* event = tavo_event_request_new("level_up");
  if (!tavo_event_request_set_attributes_json(event, "{\"level\": 3, \"mode\": \"hard\"}")) return 3;
  if (tavo_event_request_set_attributes_json(event, "[1, 2]")) return 3; /* not an object: refused */
  tavo_event_request_set_custom_id(event, "c-event-1");
  tavo_request_delegate delegate = {on_started, on_success, NULL, NULL};
  tavo_event_request_set_delegate(event, &delegate);
  tavo_track_event(event);

  tavo_login_user("c-42", "c@example.com", "{\"plan\": \"pro\", \"price\": 1}");
  tavo_start_order("o-1", 19.99f, "EUR", NULL, NULL);
  tavo_add_product("p-1", "Widget", 2.0f, 9.995f, NULL);
  tavo_track_order();

  /* Two queue periods: the event goes with the next timed flush. */
  tavo_main_loop_run_for(2.5);
  tavo_event_request_free(event);

  char* device = tavo_device_id();
  printf("device id: %s\n", device ? device : "(none)");
  tavo_free(device);
  printf("delegate heard: started=%d success=%d\n", started_calls, success_calls);
  return tavo_is_session_started() ? 0 : 1;
}
