# For scripts that need a web server on this machine, to be sourced by them.

# serve FOLDER: starts a web server with this content on a free port and sets `web_server` and `port`. Fails
# when there is none.
serve() {
  local attempt look
  for attempt in {1..10}; do
    port=$((20000 + RANDOM % 20000))
    busybox httpd -f -p "127.0.0.1:$port" -h "$1" 2>/dev/null &
    web_server=$!
    # It ends at once when another program has the port.
    for look in {1..50}; do
      sleep 0.1
      kill -0 "$web_server" 2>/dev/null || break
      if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then return 0; fi
    done
    kill "$web_server" 2>/dev/null || true
    web_server=
  done
  return 1
}
