# People and units of the private directory server as LDIF:
#     awk -v people=300 -v suffix=dc=example,dc=com -f people.awk
# The same arguments give the same entries. Below the suffix stand
#     ou=people    one inetOrgPerson a person, uid=user000001 and so on: 15 attribute types, 20 values
#     ou=units     five towns with twelve departments each
# Some names need UTF-8. They are written as they are, which slapadd accepts.

function entry(dn)
{
    print "dn: " dn "," suffix
}

function unit(rdn_value, parent)
{
    entry("ou=" rdn_value (parent == "" ? "" : "," parent))
    print "objectClass: organizationalUnit"
    print "ou: " rdn_value
    print ""
}

# Cyrillic names get Cyrillic surnames, so that every name is of one alphabet.
function person(n,    uid, given, surname, town, department)
{
    uid = sprintf("user%06d", n)
    if (n % 8 == 5)
    {
        given = cyrillic_given[n % cyrillic_givens + 1]
        surname = cyrillic_surname[int(n / 8) % cyrillic_surnames + 1]
    }
    else
    {
        given = latin_given[n % latin_givens + 1]
        surname = latin_surname[int(n / 3) % latin_surnames + 1]
    }
    town = towns[n % town_count + 1]
    department = departments[n % department_count + 1]

    entry("uid=" uid ",ou=people")
    print "objectClass: top"
    print "objectClass: person"
    print "objectClass: organizationalPerson"
    print "objectClass: inetOrgPerson"
    print "uid: " uid
    print "cn: " given " " surname
    print "sn: " surname
    print "givenName: " given
    print "displayName: " surname ", " given
    print "mail: " uid "@example.com"
    print "mail: " uid "@mail.example.com"
    printf "telephoneNumber: +49 30 555 %06d\n", n
    printf "telephoneNumber: +49 40 555 %06d\n", n
    printf "mobile: +49 170 555 %06d\n", n
    printf "employeeNumber: %d\n", 100000 + n
    print "title: " titles[n % title_count + 1]
    print "ou: " department
    print "l: " town
    printf "postalAddress: Example Street %d $ %05d %s\n", n % 200 + 1, 10000 + n % 80000, town
    printf "description: Works in %s (%s), room %d on floor %d\n", department, town, n % 90 + 1, n % 7
    print ""
}

BEGIN {
    FS = "\n"
    latin_givens = split("Anna|Jürgen|Maria|Søren|Peter|Zoë|Thomas|François|Julia|Łukasz|Martin|Renée", latin_given, "|")
    latin_surnames = split("Müller|Smith|Jensen|Schäfer|Novak|García|Weber|Nguyễn|Fischer|Dvořák|Brown", latin_surname, "|")
    cyrillic_givens = split("Иван|Ольга|Сергей|Наталья|Дмитрий", cyrillic_given, "|")
    cyrillic_surnames = split("Петров|Кузнецов|Гончаренко|Морозов", cyrillic_surname, "|")
    town_count = split("Berlin|Hamburg|Köln|München|Москва", towns, "|")
    department_count = split("Accounting|Archive|Customer Service|Design|Legal|Logistics|Marketing|Production|Purchasing|Quality|Research|Sales", departments, "|")
    title_count = split("Engineer|Head of Department|Clerk|Consultant|Technician|Trainee|Archivist", titles, "|")

    domain = suffix
    sub(/^dc=/, "", domain)
    sub(/,.*/, "", domain)
    print "dn: " suffix
    print "objectClass: dcObject"
    print "objectClass: organization"
    print "dc: " domain
    print "o: Example Organisation"
    print ""
    unit("people", "")
    unit("units", "")
    for (t = 1; t <= town_count; t++)
    {
        unit(towns[t], "ou=units")
        for (d = 1; d <= department_count; d++)
            unit(departments[d], "ou=" towns[t] ",ou=units")
    }
    for (n = 1; n <= people; n++)
        person(n)
}
