#!/usr/bin/env bash
# Fast end-to-end tier: the real router, simulator and daemon on a private session bus, with
# the stand-in tray host (scripts/desktop/sni_host.py) and a bare X server. The tray is read
# and clicked through the bus, as a panel would, and the host records every balloon.
#   standin.sh CASE      CASE: the stories of cases.sh, harness, locales
set -u
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

TIER_QPA=xcb

tier_up() {
    e2e_require dbus-daemon Xvfb setpriv identify convert "$@"
    desktop_init
    { desktop_start_bus && desktop_start_xvfb; } || e2e_fail "no session bus or X server"
}

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

# item_digest TITLE: the digests of the item's pictures.
item_digest() { "${E2E_TRAYCTL[@]}" items | grep -F "\"tooltip_title\": \"$1\"" | grep -o '"sha1": "[0-9a-f]*"'; }
item_digest_is_not() { [[ "$(item_digest "$1")" != "$2" ]]; }

icon_redrawn() {
    local before
    before="$(item_digest "$1")"
    "${@:2}"
    desktop_wait_for "$E2E_WAIT" "the $1 icon redrawn" item_digest_is_not "$1" "$before" ||
        e2e_fail "the picture of the $1 item did not change after: ${*:2}"
}

screenshot() { :; }

# The scripts alone, with a one-icon program: catches faults of the harness, not the daemon.
case_harness() {
    tier_up "$E2E_BIN/trayprobe"
    tier_host
    local picture="$DESKTOP_DIR/probe.png"
    convert -size 32x32 xc:'#ff8800' -fill '#0044ff' -draw 'rectangle 8,8 23,23' "PNG32:$picture"
    desktop_spawn probe env QT_QPA_PLATFORM=xcb "$E2E_BIN/trayprobe" "$picture" probe
    e2e_wait "$E2E_WAIT" "probe icon shown" e2e_log_has probe '^shown'
    e2e_item probe
    "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$picture" || e2e_fail "probe picture not in IconPixmap"
    # Another picture must not match: the comparison can fail.
    convert -size 32x32 xc:'#ff8800' "PNG32:$DESKTOP_DIR/other.png"
    ! "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$DESKTOP_DIR/other.png" 2>/dev/null ||
        e2e_fail "a different picture matched the probe's icon"
    tap probe
    # QSystemTrayIcon::Trigger is 3; the probe answers with a warning balloon of 60 s.
    e2e_wait "$E2E_WAIT" "probe activation" e2e_log_has probe '^activated 3'
    "${BALLOON[@]}" --summary probe --body activated --expire 60000 || e2e_fail "no probe balloon"
    "${E2E_TRAYCTL[@]}" notifications | "$DESKTOP_PYTHON" -c 'import json, sys
sys.exit(not any((c["app_icon"], c["urgency"]) == ("dialog-warning", 1) for c in json.load(sys.stdin)))' ||
        e2e_fail "the probe's balloon is not a warning"
    desktop_stop probe
    icon_absent probe
}

# expected_texts CATALOGUE SOURCE...: each source text as glyphd_CATALOGUE.ts translates it
# (no catalogue: as it is), ended by a NUL; fails on one missing or left as its source.
expected_texts() {
    "$DESKTOP_PYTHON" - "$E2E_ROOT/resources/translations/glyphd_$1.ts" "${@:2}" <<'EOF'
import sys, xml.etree.ElementTree as tree
english = sys.argv[1].endswith("_.ts")
done = [] if english else [(m.findtext("source"), m.findtext("translation"))
                           for m in tree.parse(sys.argv[1]).iter("message")
                           if m.find("translation").get("type") not in ("unfinished", "obsolete")]
for source in sys.argv[2:]:
    found = {source} if english else {text for original, text in done if original == source}
    if len(found) != 1 or (not english and source in found):
        sys.exit("%s: %r translated as %r" % (sys.argv[1], source, sorted(found)))
    sys.stdout.write(found.pop() + "\0")
EOF
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
    local -A seen=()
    for entry in "${LOCALES[@]}"; do
        locale="${entry%%:*}"
        mapfile -d '' texts < <(expected_texts "${entry#*:}" "Microscope Error" "$WRONG_PORT")
        ((${#texts[@]} == 2)) || e2e_fail "no texts for LC_ALL=$locale"
        # The balloons of the daemons before stay recorded: this one counts on top of theirs.
        seen[${texts[*]}]=$((${seen[${texts[*]}]:-0} + 1))
        e2e_stop glyphd
        e2e_start_glyphd xcb LC_ALL="$locale" LANGUAGE= LANG=
        e2e_wait_glyphd_initialized
        e2e_sim "notify-from scopesvc SCOPE_ERROR True"
        "${BALLOON[@]}" --kind critical --summary "${texts[0]}" --body "${texts[1]}" \
            --count "${seen[${texts[*]}]}" || e2e_fail "LC_ALL=$locale: no balloon \"${texts[*]}\""
        if [[ "$locale" != C ]]; then
            ! e2e_log_has glyphd 'translations' || e2e_fail "LC_ALL=$locale: translations not loaded"
        else
            e2e_log_has glyphd 'Locale not set (or set to "C"): Not loading translations' ||
                e2e_fail "LC_ALL=C: no warning about the locale"
        fi
    done
}

source "$E2E_DIR/cases.sh"
