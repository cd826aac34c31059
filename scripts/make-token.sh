#!/usr/bin/env bash
# Makes an access token signed with a deployment's demo signing key:
#   make-token.sh ROLES DOMAIN EXPIRY [DEPLOYMENT]
# ROLES   comma-separated role names, "role:" added where missing
#         (demo_admin,demo_operator gives "role:demo_admin", "role:demo_operator")
# DOMAIN  the user's domain name, as "domain:" terms of the rules see it
# EXPIRY  when it expires, anything `date -d` reads ("+1 year", "+10 minutes",
#         "2030-01-01"); written as UTC text, YYYY-MM-DDTHH:MM:SS.000000Z
# DEPLOYMENT  the deployment folder (default build/demo), whose
#         conf/demo-pki/sign.pem and sign.key sign the token
# Prints the token in its header form: the body of a CMS signed message, one
# line, "/" written as "-". Send it as the "x-access-token" header.
set -euo pipefail

if [ "$#" -lt 3 ] || [ "$#" -gt 4 ]; then
  sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
fi
repo=$(cd "$(dirname "$0")/.." && pwd)
roles=$1 domain=$2 expiry=$3
pki=${4:-$repo/build/demo}/conf/demo-pki

# Only plain words: the values go into JSON text as they are.
word='^[A-Za-z0-9_.:@-]+$'
for value in ${roles//,/ } "$domain"; do
  [[ $value =~ $word ]] || { echo "$0: '$value': use letters, digits and _ . : @ - only" >&2; exit 2; }
done
[ -r "$pki/sign.key" ] && [ -r "$pki/sign.pem" ] || { echo "$0: no signing key in $pki (run the scaffold first)" >&2; exit 1; }
expires=$(date -u -d "$expiry" +%Y-%m-%dT%H:%M:%S.000000Z) || { echo "$0: cannot read the date '$expiry'" >&2; exit 2; }

role_list=
for role in ${roles//,/ }; do
  [[ $role == role:* ]] || role=role:$role
  role_list+=${role_list:+, }\"$role\"
done
user=${roles%%,*}
user=${user#role:}
content='{"token": {"expires_at": "'$expires'", "project": {"id": "'$domain'-project"}, '
content+='"user": {"id": "'$user'-id", "name": "'$user'", "domain": {"id": "'$domain'-id", "name": "'$domain'"}}}, '
content+='"roles": ['$role_list']}'

printf '%s' "$content" |
  openssl cms -sign -nodetach -outform PEM -signer "$pki/sign.pem" -inkey "$pki/sign.key" |
  grep -v -- ----- | tr -d '\n' | tr / -
echo
