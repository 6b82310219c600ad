/*
 * tavo.h: the TAVO SDK's C interface, for C and for bindings from Swift, Kotlin, C#, Python and others.
 *
 * Conventions
 *   Threads   The first thread that calls into the library is its main thread. Make every call from that
 *             thread, and pump the SDK's main loop there (tavo_main_loop_run_for / tavo_main_loop_run_pending),
 *             as a game engine ticks: timers, flushes and host callbacks of the main thread run inside a pump.
 *             Request-delegate callbacks arrive on the SDK's request thread.
 *   Strings   UTF-8, NUL-terminated. NULL means "absent". Strings the library returns as `char*` belong to
 *             the caller and are released with tavo_free; `const char*` results are static.
 *   Objects   Opaque handles made by *_new and released by *_free; the library copies what it is given, so a
 *             handle may be freed right after the call that used it. A request's delegate is held weakly by the
 *             SDK, as on every platform: its callbacks are made while the request handle is alive.
 *   JSON      Dictionaries travel as JSON object text. Text that is not a JSON object is refused with a log
 *             line: setters return false and change nothing; other calls go on without the value.
 *   Errors    Nothing aborts on bad input. Refusals are logged (tavo_set_debugger_output(true) shows every
 *             level; tavo_platform_set_log_handler receives each line) and the call has no effect. No exception
 *             leaves a call: a failure inside one is logged as "<function> failed: <reason>" and the call
 *             returns NULL, false or 0.
 *
 * Example
 *   tavo_platform_set_data_directory("/var/lib/myapp/tavo");
 *   tavo_configuration* cfg = tavo_configuration_new("MYAPPUSERABC123XYZ");
 *   tavo_configuration_set_url_base(cfg, "https://api.tavo.example/ws/");
 *   tavo_start_session_with_configuration(cfg);
 *   tavo_configuration_free(cfg);
 *   tavo_event_request* ev = tavo_event_request_new("level_up");
 *   tavo_event_request_set_attributes_json(ev, "{\"level\": 3}");
 *   tavo_track_event(ev);
 *   tavo_event_request_free(ev);
 *   for (;;) tavo_main_loop_run_for(0.016);   // in the host's frame loop
 */
#ifndef TAVO_TAVO_H
#define TAVO_TAVO_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define TAVO_C_EXPORT __declspec(dllexport)
#else
#define TAVO_C_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- platform stand-ins ---- */

/* Where the SDK keeps its store and Documents folder. Call before any other function; later calls are
 * ignored. Without it the SDK uses $XDG_DATA_HOME/tavo (or ~/.local/share/tavo). */
TAVO_C_EXPORT void tavo_platform_set_data_directory(const char* path);
/* The host application's version strings and display name (the bundle's information keys). */
TAVO_C_EXPORT void tavo_platform_set_bundle_info(const char* short_version, const char* bundle_version,
                                                 const char* display_name);
/* 0 active, 1 inactive, 2 background. A change posts the matching lifecycle notification, which drives
 * session tracking (entering the background ends the session and flushes the queue). */
TAVO_C_EXPORT void tavo_platform_set_application_state(int state);
/* Receives every system-log line instead of stderr; NULL restores stderr. Called on the logging thread. */
TAVO_C_EXPORT void tavo_platform_set_log_handler(void (*handler)(const char* line, void* user_data), void* user_data);
/* The host's way of opening a URL (an in-app campaign's deep link, for one); called on the main thread. NULL
 * restores the default, which logs the URL and opens nothing. */
TAVO_C_EXPORT void tavo_platform_set_open_url_handler(void (*handler)(const char* url, void* user_data),
                                                      void* user_data);
/* The host's universal-link handler: a resolved short link arrives here as the web page URL of a
 * web-browsing activity, on the main thread. NULL means the host does not handle such activities. */
TAVO_C_EXPORT void tavo_platform_set_continue_user_activity_handler(void (*handler)(const char* webpage_url,
                                                                                    void* user_data),
                                                                    void* user_data);
/* The stored cookies as a JSON array of {"name", "value", "domain", "path", "version", "expiry"}, expiry in
 * seconds since 1970 (null for a session cookie); free with tavo_free. */
TAVO_C_EXPORT char* tavo_platform_copy_cookies_json(void);
/* Pumps the main loop for that many seconds (runs timers and posted work as they come due). */
TAVO_C_EXPORT void tavo_main_loop_run_for(double seconds);
/* Runs what is due now and returns. */
TAVO_C_EXPORT void tavo_main_loop_run_pending(void);
/* Releases a string returned by the library. NULL is ignored. */
TAVO_C_EXPORT void tavo_free(void* pointer);

/* ---- configuration ---- */

typedef struct tavo_configuration tavo_configuration;

TAVO_C_EXPORT tavo_configuration* tavo_configuration_new(const char* session_key);
TAVO_C_EXPORT void tavo_configuration_free(tavo_configuration* configuration);
TAVO_C_EXPORT void tavo_configuration_set_debug_enabled(tavo_configuration* configuration, bool enabled);
TAVO_C_EXPORT void tavo_configuration_set_queue_time(tavo_configuration* configuration, int32_t seconds);
TAVO_C_EXPORT void tavo_configuration_set_url_base(tavo_configuration* configuration, const char* url);
TAVO_C_EXPORT void tavo_configuration_set_track_screen_events(tavo_configuration* configuration, bool track);
TAVO_C_EXPORT void tavo_configuration_set_apple_ads_attribution(tavo_configuration* configuration, bool enabled);
TAVO_C_EXPORT void tavo_configuration_set_custom_quorvel_domains(tavo_configuration* configuration,
                                                                 const char* const* domains, size_t count);
TAVO_C_EXPORT void tavo_configuration_set_short_quorvel_domains(tavo_configuration* configuration,
                                                                const char* const* domains, size_t count);

/* ---- session ---- */

TAVO_C_EXPORT const char* tavo_get_sdk_version(void);
TAVO_C_EXPORT int tavo_get_sdk_build_version(void);
TAVO_C_EXPORT void tavo_start_session_with_configuration(const tavo_configuration* configuration);
TAVO_C_EXPORT void tavo_start_session_background(const tavo_configuration* configuration);
TAVO_C_EXPORT void tavo_start_session(const char* session_key);
/* true only once the web service has received the start-session event. */
TAVO_C_EXPORT bool tavo_is_session_started(void);
TAVO_C_EXPORT void tavo_set_debugger_output(bool enabled);
TAVO_C_EXPORT void tavo_set_web_service_url(const char* url);
TAVO_C_EXPORT void tavo_reset(void);
/* The installation identifier ("V-..."); free with tavo_free. */
TAVO_C_EXPORT char* tavo_device_id(void);

/* ---- events ---- */

/* A NULL member is a callback the delegate does not implement. `id` is the request's custom id, else the id
 * the SDK gave its operation. */
typedef struct {
  void (*on_started)(const char* id, void* user_data);
  void (*on_success)(const char* id, bool contains_data, void* user_data);
  void (*on_failed)(const char* id, void* user_data);
  void* user_data;
} tavo_request_delegate;

typedef struct tavo_event_request tavo_event_request;

TAVO_C_EXPORT tavo_event_request* tavo_event_request_new(const char* token);
/* false, and nothing set (the refusal is logged), when the text is not a JSON object. */
TAVO_C_EXPORT bool tavo_event_request_set_attributes_json(tavo_event_request* request, const char* json_object);
TAVO_C_EXPORT void tavo_event_request_set_custom_id(tavo_event_request* request, const char* custom_id);
TAVO_C_EXPORT void tavo_event_request_set_delegate(tavo_event_request* request, const tavo_request_delegate* delegate);
TAVO_C_EXPORT void tavo_event_request_free(tavo_event_request* request);
TAVO_C_EXPORT void tavo_track_event(const tavo_event_request* request);

/* ---- users ---- */

TAVO_C_EXPORT void tavo_login_user(const char* user_id, const char* mail, const char* extras_json);
TAVO_C_EXPORT void tavo_login_default(void);
TAVO_C_EXPORT void tavo_register_user(const char* user_id, const char* mail, const char* extras_json);
TAVO_C_EXPORT void tavo_track_extra_user_info(const char* info_json);
TAVO_C_EXPORT void tavo_set_customer_id(const char* customer_id);
/* The web service's id for this user, or NULL; free with tavo_free. */
TAVO_C_EXPORT char* tavo_get_user_id(void);
/* The user's profile as JSON object text; free with tavo_free. */
TAVO_C_EXPORT char* tavo_get_user_info_json(void);
TAVO_C_EXPORT void tavo_enable_user_tracking(void);
TAVO_C_EXPORT void tavo_disable_user_tracking(bool delete_user);
TAVO_C_EXPORT bool tavo_is_user_tracking_enabled(void);
TAVO_C_EXPORT void tavo_register_token(const uint8_t* bytes, size_t length);

/* ---- orders ---- */

TAVO_C_EXPORT void tavo_start_order(const char* order_id, float total_price, const char* currency_code,
                                    const char* coupon, const char* extras_json);
TAVO_C_EXPORT void tavo_add_product(const char* product_id, const char* name, float qty, float price,
                                    const char* extras_json);
TAVO_C_EXPORT void tavo_set_currency_code(const char* currency_code);
TAVO_C_EXPORT void tavo_track_order(void);
TAVO_C_EXPORT void tavo_cancel_order(const char* order_id);

/* ---- links and attribution ---- */

/* Every URL that opened the app. A short tracking link is resolved by the web service and its long URL
 * comes back through the continue-user-activity handler; any other link is checked for click attribution
 * and for deep-link actions. NULL is refused with a log line. */
TAVO_C_EXPORT void tavo_handle_link(const char* url);
/* Extra tracking-link (or short-link) domains of the app, added to the SDK's own; NULL entries are skipped,
 * a NULL list clears them. */
TAVO_C_EXPORT void tavo_set_quorvel_domains(const char* const* domains, size_t count);
TAVO_C_EXPORT void tavo_set_short_quorvel_domains(const char* const* domains, size_t count);
/* Asks for the install attribution; callback gets it on the main thread, when it arrives, as JSON text:
 * {"status": ..., "campaign": {"id", "name", "click_params", "source": {"id", "name",
 * "provider": {"id", "name"}}}}, null for what is absent. The text lives until the callback returns.
 * The SDK keeps the last callback given; a NULL one asks all the same and tells nobody. */
TAVO_C_EXPORT void tavo_install_attribution_info(void (*callback)(const char* attribution_json, void* user_data),
                                                 void* user_data);
/* Cookies for the SDK's web code on that domain (also their origin URL); NULL forgets the domain. */
TAVO_C_EXPORT void tavo_set_web_sdk_domain(const char* domain);
/* Hands the device id, the push token and the last opened push (once) to the web code as cookies on the
 * domain set above; does nothing without one. */
TAVO_C_EXPORT void tavo_sync_with_web_sdk(void);

/* ---- in-app communications ---- */

/* A campaign travels as JSON: {"type", "id", "url", "image_url", "times", "can_close", "params"}, where type is
 * the campaign type (2 start view, 3 dynamic tab, 4 AdBall, 5 banner, 6 strip), "times" how often it may be
 * shown (0: no limit) and absent addresses are null; plus its format's own fields:
 *   banner     "url_image_sp", "url_image_tb" (phone and tablet images), "position" ("top" or "bottom"),
 *              "open_outside" (a tap opens the link outside the app), "frequency", "show_time" (seconds),
 *              "label"
 *   AdBall     "horizontal_location" (1 right edge, else left), "vertical_location" (1 middle, 2 bottom, else top)
 *   strip      "message", "text_color", "background_color" ("#AARRGGBB" or null), "shown_time" (seconds)
 *   dynamic tab "tab_name", "tab_index" (-1: none), "tab_image_url" */

typedef struct tavo_in_app_request tavo_in_app_request;

/* type: 0 start view, 1 AdBall, 2 strip, 3 banner, 4 dynamic tab, 5 coupons (one coupon with a message id),
 * 6 redeem coupon, 7 cancel coupon redeem, 8 coupon valid redeems (6 to 8 need the coupon id as message id),
 * 9 native ads. Types above 9 are ignored when the request is sent. */
TAVO_C_EXPORT tavo_in_app_request* tavo_in_app_request_new(unsigned type);
/* Picks a campaign slot on the web service. */
TAVO_C_EXPORT void tavo_in_app_request_set_label(tavo_in_app_request* request, const char* label);
TAVO_C_EXPORT void tavo_in_app_request_set_custom_id(tavo_in_app_request* request, const char* custom_id);
TAVO_C_EXPORT void tavo_in_app_request_set_in_app_message_id(tavo_in_app_request* request, const char* message_id);
/* Told whether the web service had a campaign: on_success's contains_data is false for none. NULL removes it. */
TAVO_C_EXPORT void tavo_in_app_request_set_delegate(tavo_in_app_request* request,
                                                    const tavo_request_delegate* delegate);
TAVO_C_EXPORT void tavo_in_app_request_free(tavo_in_app_request* request);

/* A listener of in-app communications, called on the main thread (native ads: on the request thread). A NULL
 * member is a callback the delegate does not implement. Two delegates are the same when all their members
 * are equal: adding the same one twice keeps one, and removing takes away the one equal to it. The JSON text
 * lives until the callback returns. */
typedef struct {
  void (*on_shown)(const char* campaign_json, void* user_data);
  void (*on_hide)(const char* campaign_json, void* user_data);
  void (*on_close)(const char* campaign_json, void* user_data);
  void (*on_received)(const char* native_ad_json, void* user_data);
  void (*on_batch_native_ad_received)(const char* native_ads_json_array, void* user_data);
  void* user_data;
} tavo_in_app_delegate;

/* Asks the web service for a campaign of the request's type; the SDK counts, filters and shows what comes back.
 * NULL is refused with a log line. */
TAVO_C_EXPORT void tavo_in_app_message(const tavo_in_app_request* request);
/* The same, adding the delegate first (NULL: none). A native-ad request needs a delegate with on_received, or
 * in batch mode on_batch_native_ad_received; without it the request is refused with a log line. */
TAVO_C_EXPORT void tavo_in_app_message_with_delegate(const tavo_in_app_request* request,
                                                     const tavo_in_app_delegate* delegate);
TAVO_C_EXPORT void tavo_add_in_app_delegate(const tavo_in_app_delegate* delegate);
TAVO_C_EXPORT void tavo_remove_in_app_delegate(const tavo_in_app_delegate* delegate);
/* Reports an impression or a click of a campaign (its type and id) to the web service, as an event. */
TAVO_C_EXPORT void tavo_send_impression(unsigned campaign_type, const char* campaign_id);
TAVO_C_EXPORT void tavo_send_click(unsigned campaign_type, const char* campaign_id);
/* The address prefixes in-app content may open; the SDK's own domains always may. A NULL list removes the
 * white list, and with none every address may. NULL entries are skipped. */
TAVO_C_EXPORT void tavo_set_whitelist(const char* const* prefixes, size_t count);
/* The white list as a JSON array of strings, or "null" when none is set; free with tavo_free. */
TAVO_C_EXPORT char* tavo_whitelist_json(void);

/* Start views: a campaign's page over the whole app, with a close button (35 x 35 points at the top right,
 * accessibility identifier "startview_close") when the campaign may be closed. The options are kept for the
 * host. The parameters (a JSON object; NULL: none) are added to the query of every later start view's page;
 * text that is not an object is refused: false, nothing changes. tavo_close_start_view takes the start views
 * on screen away without their on_close callbacks. */
TAVO_C_EXPORT void tavo_set_start_view_options(unsigned options);
TAVO_C_EXPORT bool tavo_set_start_view_parameters_json(const char* parameters_json);
TAVO_C_EXPORT void tavo_close_start_view(void);
/* Kept for the host; banners show as the web service sends them either way. */
TAVO_C_EXPORT void tavo_set_banner_auto_creation(bool auto_creation);

/* ---- the host's user interface ----
 *
 * The SDK's in-app formats and screen events work on a model of the phone's UI toolkit. A host written
 * against another toolkit (or none) tells the model what it shows: its screens, navigation stacks, tab bars
 * and modal presentations, which become real view controllers of the model, so the SDK's appearance hooks see
 * every transition. It passes on the user's touches and can read back what is on screen.
 *
 * All of these belong to the main thread; a call from another thread is refused with a log line. Pushes,
 * pops, presentations and dismissals animate as on a phone (0.35 s): the did-appear and did-disappear
 * callbacks come at the end, inside a pump of the main loop. Coordinates are points on the screen, origin at
 * the top left. */

/* The screen held upright: size in points, scale (pixels per point), and the safe-area insets at the top
 * (status bar and notch) and the bottom (home indicator). Default 390 x 844 points, scale 3, insets 47 and
 * 34. A size or scale that is not positive, or insets taller than the screen, are refused with a log line. */
TAVO_C_EXPORT void tavo_platform_set_screen(double width, double height, double scale, double safe_top,
                                            double safe_bottom);

/* A screen of the host: a view controller whose class name is the one given ("UIViewController" for NULL),
 * as screen rules compare it. Freeing the handle leaves the screen where it is (on screen, in a stack or a tab
 * bar) for as long as it stays there. */
typedef struct tavo_screen tavo_screen;

TAVO_C_EXPORT tavo_screen* tavo_screen_new(const char* class_name);
/* Where the screen's view is, in its container; containers leave it there from then on. */
TAVO_C_EXPORT void tavo_screen_set_frame(tavo_screen* screen, double x, double y, double width, double height);
/* "#RGB", "#RRGGBB" or "#RRGGBBAA"; anything else is refused with a log line. */
TAVO_C_EXPORT void tavo_screen_set_background_color(tavo_screen* screen, const char* hex);
TAVO_C_EXPORT void tavo_screen_free(tavo_screen* screen);
/* Makes the screen (or the navigation stack it is the root of) the root of the key window: the old root hears
 * will-disappear, the new one will-appear, then did-disappear and did-appear. */
TAVO_C_EXPORT void tavo_screen_show(tavo_screen* screen);
/* Pushes screen onto the navigation stack of navigation_root; the first push puts a "UINavigationController"
 * in the root's place (on screen, in a tab, or presented), without appearance callbacks for the root. */
TAVO_C_EXPORT void tavo_screen_push(tavo_screen* navigation_root, tavo_screen* screen);
/* Pops the top screen of the stack navigation_root is in; nothing at the root. */
TAVO_C_EXPORT void tavo_screen_pop(tavo_screen* navigation_root);
/* Presents screen modally over from: full screen (from disappears) or as a sheet (from stays). */
TAVO_C_EXPORT void tavo_screen_present(tavo_screen* from, tavo_screen* screen, bool full_screen);
/* Dismisses what screen presents, or screen itself when it is presented. */
TAVO_C_EXPORT void tavo_screen_dismiss(tavo_screen* screen);
/* The screen start views are presented from (held while it is on screen or the host keeps its handle); NULL:
 * the key window's root, the default. */
TAVO_C_EXPORT void tavo_set_root_view_controller(tavo_screen* screen);
/* Screen events: once a session is started, each full-width screen that comes in front (its class name as
 * the screen's name) is reported, and may bring a campaign the web service attached to it, which closes when
 * the user leaves the screen. On by default (and as the start configuration says); false stops the reports. */
TAVO_C_EXPORT void tavo_track_screen_events(bool track);

/* The host's tab bar: a "UITabBarController" of the host's screens. */
typedef struct tavo_tab_bar tavo_tab_bar;

TAVO_C_EXPORT tavo_tab_bar* tavo_tab_bar_new(void);
/* Adds the screen (or the navigation stack it is the root of) as the last tab, with that title. */
TAVO_C_EXPORT void tavo_tab_bar_add(tavo_tab_bar* tab_bar, tavo_screen* screen, const char* title);
/* Makes the tab bar the root of the key window. */
TAVO_C_EXPORT void tavo_tab_bar_show(tavo_tab_bar* tab_bar);
/* Selects a tab as the host's code does (the tab bar's delegate is not asked; a tap on the bar asks it). */
TAVO_C_EXPORT void tavo_tab_bar_select(tavo_tab_bar* tab_bar, int index);
TAVO_C_EXPORT void tavo_tab_bar_free(tavo_tab_bar* tab_bar);

/* A finger down and up at a point, through hit testing and gesture recognizers as on the phone. */
TAVO_C_EXPORT void tavo_platform_tap(double x, double y);
/* A finger moved from (x0, y0) to (x1, y1) over that many seconds of the main loop's clock; the call pumps the
 * main loop meanwhile (60 moves a second), so it returns when the finger lifts. */
TAVO_C_EXPORT void tavo_platform_drag(double x0, double y0, double x1, double y1, double seconds);
/* Taps the middle of the frontmost visible view with that accessibility identifier; false when there is none
 * or something else covers its middle. */
TAVO_C_EXPORT bool tavo_platform_tap_view(const char* accessibility_id);

/* The screen as a JSON view tree ({"screen": {...}, "windows": [...]}, each view with its "class", "frame",
 * "hidden", "alpha", texts, images and web pages); free with tavo_free. */
TAVO_C_EXPORT char* tavo_platform_copy_view_tree_json(void);
/* A PNG picture of the screen at its scale; false when it cannot be written. */
TAVO_C_EXPORT bool tavo_platform_write_screenshot_png(const char* path);

#ifdef __cplusplus
}
#endif

#endif /* TAVO_TAVO_H */
