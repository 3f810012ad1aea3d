# Prints a customer file of `records` records, always the same ones:
#
#     awk -v records=5000 -f customers.awk >customers.TXT
#
# Every record has 60 columns and a line feed:
#
#      1-6   customer number, unique, in no order
#      8-31  name
#     33-46  town
#     48     A active, C closed
#     50-60  balance

# The same sequence on every machine and with every awk, which rand() does not promise.
function random(limit) {
  seed = seed * 16807 % 2147483647
  return seed % limit
}

BEGIN {
  seed = 20240229
  lasts = split("Abbott Adler Baker Barnes Becker Bennett Bishop Brandt Brooks Burke Carter " \
                "Castle Chapman Clarke Coleman Cooper Costa Dawson Dixon Doyle Eaton Ellis " \
                "Farrell Fischer Fletcher Foster Fraser Garner Gibson Grant Hale Harper Hayes " \
                "Hoffman Holmes Howard Irving Jansen Jensen Keller Kendall Klein Lambert Larsen " \
                "Lindgren Lowe Marsh Meyer Miller Moreau Murphy Norris Novak Olsen Palmer " \
                "Parker Quinn Reed Reyes Rossi Schmidt Shaw Silva Stone Sutton Tanner Thorne " \
                "Turner Vance Vogel Walsh Weber Wells Winter Wright Yates Zimmer", last, " ")
  firsts = split("Ada Alan Alice Anna Anton Berta Bruno Carl Carla Clara Daniel David Diana " \
                 "Edith Emil Emma Erik Eva Felix Frank Frida George Greta Hanna Helen Henry " \
                 "Hugo Ida Irene Ivan Jack Jane Jonas Julia Karen Laura Leo Lewis Linda Lucas " \
                 "Maria Mark Martha Max Nina Nora Oscar Paul Peter Rosa", first, " ")
  towns = split("Ashford,Bridgeport,Clayton,Dover,Easton,Fairview,Georgetown,Hillsboro," \
                "Kingston,Lakewood,Marion,Newport,Oakdale,Plymouth,Riverside,Springfield", town, ",")
  for (i = 1; i <= records; ++i) {
    name = last[1 + random(lasts)] ", " first[1 + random(firsts)]
    status = random(20) == 0 ? "C" : "A"
    # 7919 and 900000 have no common factor, so that no number comes twice.
    printf "%06d %-24s %-14s %s %11.2f\n", 100000 + i * 7919 % 900000, name,
           town[1 + random(towns)], status, (random(1000000) - 200000) / 100
  }
}
