"""An application whose database lives in 2038 with it: pytest --orvane -n 4 examples/python_tests, without root."""
import app


def test_what_is_ordered_in_2038_is_of_2038(psql):
    orders = app.Orders(psql)
    orders.create()
    orders.add("tea")
    assert orders.year_of("tea") == 2038 and not orders.is_late("tea")
