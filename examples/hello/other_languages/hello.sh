#!/bin/sh
# hello.sh URL NAME: curl, and the envelope written by hand.
set -eu
escaped() { printf %s "$1" | sed 's/&/\&amp;/g; s/</\&lt;/g'; }
plain() { sed 's/&lt;/</g; s/&gt;/>/g; s/&quot;/"/g; s/&apos;/'"'"'/g; s/&amp;/\&/g'; }
reply=$(curl -sS -H 'Content-Type: text/xml; charset=utf-8' -H 'SOAPAction: "greet"' --data-binary @- "$1" <<EOF
<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body>
<m:greet xmlns:m="IDL:Hello/Greeter:1.0"><name>$(escaped "$2")</name><times>1</times></m:greet></e:Body></e:Envelope>
EOF
)
fault=$(printf %s "$reply" | sed -n 's#.*<faultstring>\(.*\)</faultstring>.*#\1#p' | plain)
[ -z "$fault" ] || { printf '%s\n' "$fault" >&2; exit 3; }
printf %s "$reply" | sed -n 's#.*<return>\(.*\)</return>.*#\1#p' | plain
