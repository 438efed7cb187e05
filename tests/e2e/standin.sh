#!/usr/bin/env bash
# shellcheck disable=SC2034  # the TIER_ variables are read by cases.sh
# Fast end-to-end tier: the real router, simulator and daemon on a private session bus, with
# the stand-in tray host (scripts/desktop/sni_host.py) and a bare X server. The tray is read
# and clicked through the bus, as a panel would, and the host records every balloon.
#   standin.sh CASE      CASE: the stories of cases.sh, locales
set -u
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

TIER_QPA=xcb

TIER_NEEDS=(dbus-daemon Xvfb setpriv identify convert)
tier_up() { desktop_start_bus && desktop_start_xvfb; }

tier_host() {
    desktop_spawn host "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/sni_host.py"
    e2e_wait "$E2E_WAIT" "stand-in tray host" e2e_log_has host '^ready'
}

icon_shown() { e2e_expect_item_picture "$@"; }

icon_absent() { e2e_expect_no_item "$1"; }

tap() {
    e2e_item "$1"
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate on $1 failed"
}

BALLOON=("${E2E_TRAYCTL[@]}" balloon --wait "$E2E_WAIT")

balloon() {
    "${BALLOON[@]}" --kind "$1" --summary "$2" --body "$3" --expire "$4" --count "${5:-1}" ||
        e2e_fail "no $1 balloon \"$2\": \"$3\" ($4 ms)"
}

balloon_timed() {
    local timing="$1" title="$2" command timed=()
    shift 2
    # The host times items by name: the one that leaves is known before, a new one after.
    [[ "$timing" == hides ]] && e2e_item "$title" && timed=(--hides "$E2E_ITEM" 9.0 9.99)
    for command in "${@:5}"; do e2e_sim "$command"; done
    [[ "$timing" == held-back ]] && e2e_item "$title" && timed=(--held-back "$E2E_ITEM" 2.5)
    "${BALLOON[@]}" --kind "$1" --summary "$2" --body "$3" --expire "$4" "${timed[@]}" ||
        e2e_fail "no $1 balloon \"$2\" $timing by the $title icon"
}

# digest_is_not TITLE DIGEST: the item's pictures have another digest now.
digest_is_not() { [[ "$("${E2E_TRAYCTL[@]}" digest --tooltip "$1")" != "$2" ]]; }

icon_redrawn() {
    local before
    before="$("${E2E_TRAYCTL[@]}" digest --tooltip "$1")" || e2e_fail "no $1 item"
    "${@:2}"
    desktop_wait_for "$E2E_WAIT" "the $1 icon redrawn" digest_is_not "$1" "$before" ||
        e2e_fail "the picture of the $1 item did not change after: ${*:2}"
}

WRONG_PORT="The R7300m Microscope will not function in this USB port.  Please use the other USB port."

# translated CATALOGUE SOURCE: the finished translation of the source text in
# glyphd_CATALOGUE.ts.
translated() {
    "$DESKTOP_PYTHON" -c 'import sys, xml.etree.ElementTree as tree
print(next(m.findtext("translation") for m in tree.parse(sys.argv[1]).iter("message")
           if m.findtext("source") == sys.argv[2] and m.find("translation").get("type") is None))' \
        "$E2E_ROOT/resources/translations/glyphd_$1.ts" "$2"
}

# Each locale: LC_ALL (the four the daemon sets itself, the others Qt reads) and its catalogue.
LOCALES=(de_DE:de es_ES:es fr_FR:fr it_IT:it pl_PL:pl pt_BR:pt_BR zh_TW:zh_TW
    zh_CN:zh_CN ja_JP:ja ko_KR:ko ru_RU:ru C:)

# The microscope warning arrives translated for every catalogue, and in English with the C
# locale, which logs why. Only the daemon restarts between locales.
case_locales() {
    setup
    tier_host
    e2e_start_router
    e2e_start_simulator "${NOTHING_SHOWN[@]}"
    local entry locale texts
    for entry in "${LOCALES[@]}"; do
        locale="${entry%%:*}" texts=("Microscope Error" "$WRONG_PORT")
        if [[ "$locale" != C ]]; then
            texts=("$(translated "${entry#*:}" "${texts[0]}")" "$(translated "${entry#*:}" "${texts[1]}")")
            [[ "${texts[1]}" != "$WRONG_PORT" ]] || e2e_fail "LC_ALL=$locale: the warning is not translated"
        fi
        e2e_stop glyphd
        e2e_start_glyphd xcb LC_ALL="$locale" LANGUAGE= LANG=
        e2e_wait_glyphd_initialized
        e2e_sim "notify-from scopesvc SCOPE_ERROR True"
        # The host keeps the balloons of the daemons before: each locale's texts are its own.
        balloon critical "${texts[0]}" "${texts[1]}" 10000
    done
    # The last daemon runs in the C locale.
    e2e_log_has glyphd 'Locale not set (or set to "C"): Not loading translations' ||
        e2e_fail "LC_ALL=C: no warning about the locale"
}

source "$E2E_DIR/cases.sh"
